// The objects that System Events and every other application offer: processes, their windows, and what can be done with
// them, read from the Host when an event asks. One model serves one event.
//
// Thread: the interpreter's. Throws ScriptError in the words of the original, without the application's name in front.
#pragma once
#include "applescript/run/Interpreter.h"

namespace ombru::applescript {

// The identifier of System Events, which is always known and always running.
inline constexpr QStringView SYSTEM_EVENTS_ID = u"com.apple.systemevents";

class DesktopModel {
public:
    DesktopModel(Interpreter &interpreter, Application application);

    Value perform(const Event &event);

private:
    struct Object {
        enum class Kind { application, process, window, action };
        Kind kind = Kind::application;
        ProcessInfo process;
        WindowInfo window;
        QString action;
    };
    using Objects = std::vector<Object>;

    // What a specifier names. Throws -1728 or -1719 when that is not there, unless it is every or a filter.
    Objects resolve(const Specifier &specifier);
    Objects elements(const Object &container, const QString &name, const Specifier &part);
    Objects choose(Objects candidates, const Specifier &part);
    Objects filtered(Objects candidates, const Specifier &part);
    Object withNameOrId(const Objects &candidates, const Specifier &part) const;
    bool isAtIdentity(const Object &object, const Specifier &part) const;
    std::optional<Object> processOfApplication(const Objects &candidates, const Specifier &part) const;
    QString nameOf(const Object &object) const;
    Value idOf(const Object &object) const;
    Value reference(const Object &object) const;
    Object single(const Value &value);

    Value get(const Specifier &specifier);
    Value property(const Object &object, const QString &name, const Specifier &asked);
    std::optional<Value> processProperty(const Object &object, const QString &name);
    std::optional<Value> windowProperty(const Object &object, const QString &name);
    std::optional<Value> applicationProperty(const QString &name);
    void set(const Specifier &specifier, const Value &value);
    void setProcess(const Object &object, const Specifier &asked, const Value &value);
    void setWindow(const Object &object, const Specifier &asked, const Value &value);

    Value applicationCommand(const Event &event);
    Value inputCommand(const Event &event);
    Value click(const Event &event);
    void keystroke(const Event &event);
    void keyCode(const Event &event);
    void holdKeys(const Event &event);
    Value performAction(const Event &event);
    Value close(const Event &event);
    Modifiers modifiers(const Event &event);
    QPoint point(const Value &value);
    const std::vector<ProcessInfo> &processes();
    [[noreturn]] void failToGet(const Specifier &part, int number = error::NO_SUCH_OBJECT) const;

    Interpreter &m_interpreter;
    Host &m_host;
    Application m_application;
    bool m_systemEvents;
    std::optional<std::vector<ProcessInfo>> m_processes;
};

} // namespace ombru::applescript
