#include "osascript/DesktopModule.h"

#include "applescript/values/Errors.h"
#include "osascript/Ending.h"

#include <QCoreApplication>

#include <dlfcn.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Failure unavailable(const QString &why) {
    return {u"desktop"_s, applescript::error::EVENT_FAILED, why};
}

QString modulePath() {
    return QCoreApplication::applicationDirPath() + u"/ombru-desktop.so"_s;
}

} // namespace

DesktopModule::DesktopModule(DesktopCaller caller) : m_caller(std::move(caller)) {}

DesktopModule::~DesktopModule() {
    if (m_desktop)
        m_desktop->restore();
}

Result<> DesktopModule::load() {
    if (m_desktop)
        return {};
    // Never unloaded: its libraries register things that outlive any use of ours.
    void *module = ::dlopen(qUtf8Printable(modulePath()), RTLD_NOW | RTLD_NODELETE);
    if (!module)
        return std::unexpected(
            unavailable(u"The desktop's module cannot be loaded: "_s + QString::fromUtf8(::dlerror())));
    const auto open = reinterpret_cast<decltype(&ombruOpenDesktop)>(::dlsym(module, "ombruOpenDesktop"));
    if (!open)
        return std::unexpected(unavailable(u"%1 is not the desktop's module."_s.arg(modulePath())));
    std::unique_ptr<Desktop> opened;
    open(m_caller, opened);
    m_desktop = std::move(opened);
    beforeEnding([ending = m_desktop] { ending->restore(); }); // the keyboard must have its own map back
    aroundStops({.begin = [resting = m_desktop] { resting->rest(); },
                 .goOn =
                     [resting = m_desktop] {
                         resting->goOn();
                         return true;
                     },
                 .goOnToEnd = [resting = m_desktop] { resting->goOnToEnd(); }});
    return {};
}

} // namespace ombru
