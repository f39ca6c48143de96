#include "tests/support/ScriptedHost.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

QString unescaped(QString text) {
    return text.replace(u"\\n"_s, u"\n"_s).replace(u"\\r"_s, u"\r"_s);
}

QString escaped(QString text) {
    return text.replace(u'\n', u"\\n"_s).replace(u'\r', u"\\r"_s).replace(u'\t', u"\\t"_s);
}

QString heldKeys(Modifiers modifiers) {
    static const std::pair<Modifier, QString> names[] = {{Modifier::command, u" command"_s},
                                                         {Modifier::shift, u" shift"_s},
                                                         {Modifier::option, u" option"_s},
                                                         {Modifier::control, u" control"_s}};
    QString held;
    for (const auto &[modifier, name] : names) {
        if (modifiers & int(modifier))
            held += name;
    }
    return held.isEmpty() ? held : u" with"_s + held;
}

QString upOrDown(bool down) {
    return down ? u" down"_s : u" up"_s;
}

} // namespace

ScriptedHost::ScriptedHost(const QString &script) {
    for (const auto &line : script.split(u'\n', Qt::SkipEmptyParts)) {
        const auto words = line.split(u' ');
        if (!line.startsWith(u'>') && !line.startsWith(u'#'))
            read(words.first(), words.sliced(1), line.sliced(std::min(line.size(), words.first().size() + 1)));
    }
}

void ScriptedHost::read(const QString &word, const QStringList &rest, const QString &line) {
    const auto from = [&](qsizetype index) { return rest.mid(index).join(u' '); };
    const auto number = [&](qsizetype index) { return rest.value(index).toInt(); };
    if (word == u"application") {
        m_applications.push_back({rest.value(0), from(1), u"/usr/share/applications/%1.desktop"_s.arg(rest.value(0))});
    } else if (word == u"running") {
        m_running.append(line);
    } else if (word == u"process") {
        m_processes.push_back({number(0), from(2), rest.value(1), m_processes.empty(), true});
    } else if (word == u"window") {
        m_windows[number(0)].push_back({quint64(number(1)), from(6), QPoint(number(2), number(3)),
                                        QSize(number(4), number(5)), false, m_windows.size() == 1});
    } else if (word == u"shell") {
        m_lastCommand = unescaped(from(1));
        m_shell[m_lastCommand].status = number(0);
    } else if (word == u"out") {
        m_shell[m_lastCommand].out = unescaped(line).toUtf8();
    } else if (word == u"err") {
        m_shell[m_lastCommand].err = unescaped(line).toUtf8();
    } else if (word == u"clipboard") {
        m_clipboard = unescaped(line);
    } else if (word == u"now") {
        m_now = QDateTime::fromString(line, Qt::ISODate);
    } else if (word == u"random") {
        m_random = line.toDouble();
    } else if (word == u"answer") {
        m_answer = {number(0), from(1), false};
    } else if (word == u"gives") {
        m_answer = {-1, {}, true};
    } else if (word == u"fail") {
        m_failures.insert(rest.value(0), Failure{u"host"_s, number(1), from(2)});
    } else if (word == u"slow") {
        m_slow.insert(rest.value(0), rest.value(1).toDouble());
        m_clock.emplace();
    } else if (word == u"opener") {
        m_opener = line;
    } else if (word == u"refuse") {
        m_refused.append(line);
    } else {
        qFatal("a scripted host does not know \"%s\"", qPrintable(word));
    }
}

void ScriptedHost::passTime(const QString &call) {
    if (m_slow.contains(call))
        m_clock->advance(Clock::seconds(m_slow.value(call)));
}

Result<> ScriptedHost::done(const QString &call, const QString &about) {
    passTime(call);
    calls.append(escaped(call + u' ' + about));
    if (m_failures.contains(call))
        return std::unexpected(m_failures.value(call));
    return {};
}

Result<ShellOutcome> ScriptedHost::shell(const QString &command) {
    if (const auto asked = done(u"shell"_s, command); !asked)
        return std::unexpected(asked.error());
    return m_shell.value(command);
}

void ScriptedHost::delay(double seconds) {
    calls.append(u"delay %1"_s.arg(seconds));
}

Result<> ScriptedHost::show(const NotificationRequest &request) {
    return done(u"notify"_s,
                u"[%1] [%2] [%3] [%4]"_s.arg(request.text, request.title, request.subtitle, request.sound));
}

Result<DialogAnswer> ScriptedHost::ask(const DialogRequest &request) {
    const QString what = u"%1 [%2] [%3] [%4] icon %5 buttons %6 default %7 cancel %8"_s
                             .arg(request.kind == DialogRequest::Kind::alert ? u"alert"_s : u"dialog"_s, request.text,
                                  request.message, request.title)
                             .arg(int(request.icon))
                             .arg(request.buttons.join(u'|'))
                             .arg(request.defaultButton)
                             .arg(request.cancelButton) +
                         (request.defaultText ? u" field [%1]"_s.arg(*request.defaultText) : QString()) +
                         (request.hiddenText ? u" hidden"_s : QString()) +
                         (request.givingUpAfter > 0 ? u" for %1"_s.arg(request.givingUpAfter) : QString());
    if (const auto asked = done(u"ask"_s, what); !asked)
        return std::unexpected(asked.error());
    return m_answer;
}

Result<> ScriptedHost::setText(const QString &text) {
    m_clipboard = text;
    return done(u"clipboard"_s, text);
}

Result<Application> ScriptedHost::openerOf(const QString &path) {
    if (m_failures.contains(u"opener"_s))
        return std::unexpected(m_failures.value(u"opener"_s));
    const auto found = applicationWithId(m_opener);
    return found ? *found
                 : Result<Application>(std::unexpected(Failure{u"host"_s, -10814, u"Nothing opens "_s + path}));
}

Result<> ScriptedHost::openLocation(const QString &url) {
    return done(u"location"_s, url);
}

QString ScriptedHost::path(Folder folder) {
    static const QStringList names = {
        u""_s,          u"/Desktop"_s, u"/Documents"_s, u"/Downloads"_s,    u"/Music"_s,
        u"/Pictures"_s, u"/Videos"_s,  u"/.tmp"_s,      u"/Applications"_s, u"/.config"_s};
    return u"/home/me"_s + names[int(folder)];
}

Result<> ScriptedHost::authorize(const Application &application) {
    authorizations.append(application.id);
    passTime(u"authorize"_s);
    if (!m_refused.contains(application.id))
        return {};
    return std::unexpected(
        Failure{u"consent"_s, -1743, u"Not authorized to send Apple events to %1."_s.arg(application.name)});
}

std::optional<Application> ScriptedHost::applicationNamed(const QString &name) {
    for (const auto &application : m_applications) {
        if (application.name.compare(name, Qt::CaseInsensitive) == 0)
            return application;
    }
    return std::nullopt;
}

std::optional<Application> ScriptedHost::applicationWithId(const QString &id) {
    for (const auto &application : m_applications) {
        if (application.id.compare(id, Qt::CaseInsensitive) == 0)
            return application;
    }
    return std::nullopt;
}

Result<> ScriptedHost::open(const QString &id, const QStringList &paths) {
    return done(u"open"_s, id + u' ' + paths.join(u' '));
}

Result<> ScriptedHost::bringToFront(qint64 pid) {
    return done(u"front"_s, QString::number(pid));
}

Result<> ScriptedHost::bringWindowToFront(std::uint64_t handle) {
    return done(u"front window"_s, QString::number(handle));
}

Result<> ScriptedHost::setVisible(qint64 pid, bool visible) {
    return done(visible ? u"show"_s : u"hide"_s, QString::number(pid));
}

Result<> ScriptedHost::raiseWindow(std::uint64_t handle) {
    return done(u"raise"_s, QString::number(handle));
}

Result<> ScriptedHost::closeWindow(std::uint64_t handle) {
    return done(u"close"_s, QString::number(handle));
}

Result<> ScriptedHost::setMinimized(std::uint64_t handle, bool minimized) {
    return done(minimized ? u"minimize"_s : u"restore"_s, QString::number(handle));
}

Result<> ScriptedHost::moveWindow(std::uint64_t handle, QPoint position) {
    return done(u"move"_s, u"%1 to %2,%3"_s.arg(handle).arg(position.x()).arg(position.y()));
}

Result<> ScriptedHost::resizeWindow(std::uint64_t handle, QSize size) {
    return done(u"resize"_s, u"%1 to %2x%3"_s.arg(handle).arg(size.width()).arg(size.height()));
}

Result<> ScriptedHost::type(const QString &text, Modifiers modifiers) {
    return done(u"type"_s, text + heldKeys(modifiers));
}

Result<> ScriptedHost::pressKey(int keyCode, Modifiers modifiers) {
    return done(u"press"_s, QString::number(keyCode) + heldKeys(modifiers));
}

Result<> ScriptedHost::holdKey(int keyCode, bool down) {
    return done(u"key"_s, QString::number(keyCode) + upOrDown(down));
}

Result<> ScriptedHost::holdModifier(Modifier modifier, bool down) {
    return done(u"hold"_s, heldKeys(int(modifier)).sliced(6) + upOrDown(down));
}

Result<> ScriptedHost::click(QPoint at, Click click, Modifiers modifiers) {
    static const QStringList kinds = {u"single"_s, u"twice"_s, u"right"_s};
    return done(u"click"_s, u"%1 at %2,%3"_s.arg(kinds[int(click)]).arg(at.x()).arg(at.y()) + heldKeys(modifiers));
}

} // namespace ombru::applescript
