// A library that is loaded when it is first needed, and the functions found in it. Any thread.
#pragma once
#include <dlfcn.h>

namespace ombru {

class SharedLibrary {
public:
    // "libpulse.so.0". Never unloaded: a library registers things that outlive any use of ours.
    explicit SharedLibrary(const char *name) : m_library(::dlopen(name, RTLD_NOW | RTLD_NODELETE)) {}

    // Whether it is installed and has one of that name.
    template <class Function>
    bool find(const char *name, Function &function) const {
        function = m_library ? reinterpret_cast<Function>(::dlsym(m_library, name)) : nullptr;
        return function != nullptr;
    }

private:
    void *m_library; // nullptr when it is not installed
};

} // namespace ombru
