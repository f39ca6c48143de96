// What the host answered, or its failure as the script's error.
#pragma once
#include "applescript/values/Errors.h"
#include "base/Failure.h"

#include <type_traits>

namespace ombru::applescript {

template <class T>
T need(Result<T> result) {
    if (!result)
        throw ScriptError{result.error().code == 0 ? error::GENERAL : result.error().code, result.error().description};
    if constexpr (!std::is_void_v<T>)
        return std::move(*result);
}

} // namespace ombru::applescript
