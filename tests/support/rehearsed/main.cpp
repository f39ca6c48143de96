// ombru-rehearsed-agent: stands in for the `claude` tool. docs/rehearsed-agent.md tells what it does.
#include "tests/support/rehearsed/Agent.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

#include <csignal>
#include <cstdio>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace ombru;
using namespace ombru::rehearsed;
using namespace Qt::StringLiterals;

int say(std::FILE *stream, const QByteArray &bytes, int status) {
    const bool written = std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream) == size_t(bytes.size());
    return written && std::fflush(stream) == 0 ? status : 1;
}

int refuse(const Failure &failure) {
    return say(stderr, failure.description.toUtf8() + '\n', 1);
}

QByteArray json(const QJsonObject &object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

// One scenario decides how the tool itself is; several share the usual.
Scenario toolOf(const QList<Scenario> &scenarios) {
    if (scenarios.size() == 1)
        return scenarios.first();
    Scenario usual;
    usual.account = QString::fromUtf16(DEFAULT_ACCOUNT);
    return usual;
}

int authStatus(const QString &account) {
    const bool signedIn = account != u"nobody"_s;
    QJsonObject status{{u"loggedIn"_s, signedIn}, {u"authMethod"_s, signedIn ? u"rehearsed"_s : u"none"_s}};
    if (signedIn)
        status.insert(u"email"_s, account);
    return say(stdout, json(status), signedIn ? 0 : 1);
}

[[noreturn]] void hang() {
    std::signal(SIGTERM, SIG_IGN);
    std::signal(SIGINT, SIG_IGN);
    for (;;)
        pause();
}

void crash(int number) {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    std::signal(number, SIG_DFL);
    kill(getpid(), number);
}

QString shaped(const Saying &saying) {
    QString text = saying.text;
    if (saying.behaviour.padding > 0)
        text += u'\n' + QString(saying.behaviour.padding, u'.');
    if (saying.behaviour.windowsLineEnds)
        text.replace(u'\n', u"\r\n"_s);
    return text;
}

QJsonObject resultOf(const Saying &saying, const QString &text, const QString &sessionID, qint64 milliseconds) {
    QJsonObject result{{u"type"_s, u"result"_s},
                       {u"subtype"_s, u"success"_s},
                       {u"is_error"_s, saying.behaviour.isError},
                       {u"duration_ms"_s, milliseconds},
                       {u"duration_api_ms"_s, 0},
                       {u"num_turns"_s, saying.looked ? 2 : 1},
                       {u"result"_s, text},
                       {u"total_cost_usd"_s, 0},
                       {u"permission_denials"_s, QJsonArray()},
                       {u"uuid"_s, QUuid::createUuid().toString(QUuid::WithoutBraces)}};
    if (!saying.behaviour.noSession)
        result.insert(u"session_id"_s, sessionID);
    return result;
}

// All that may happen before there is an answer; the status to end with when there will be none.
std::optional<int> misbehave(const Behaviour &behaviour) {
    std::this_thread::sleep_for(behaviour.delay);
    if (!behaviour.standardError.isEmpty())
        say(stderr, behaviour.standardError.toUtf8() + '\n', 0);
    if (behaviour.hang)
        hang();
    if (behaviour.crash != 0)
        crash(behaviour.crash);
    if (behaviour.deleteSelf)
        QFile::remove(QCoreApplication::arguments().first());
    return behaviour.exitStatus;
}

int print(const Options &options, const QList<Scenario> &scenarios) {
    QElapsedTimer elapsed;
    elapsed.start();
    auto conversation = options.resume ? loadConversation(stateDirectory(), *options.resume) : newConversation();
    if (!conversation)
        return refuse(conversation.error());
    const auto saying = respond(options, scenarios, *conversation);
    if (const auto saved = saveConversation(stateDirectory(), *conversation); !saved)
        return refuse(saved.error());
    if (const auto status = misbehave(saying.behaviour))
        return *status;
    const auto text = shaped(saying);
    const int status = saying.behaviour.isError ? 1 : 0;
    if (saying.behaviour.raw || !options.json)
        return say(stdout, text.toUtf8() + '\n', status);
    return say(stdout, json(resultOf(saying, text, conversation->sessionID, elapsed.elapsed())), status);
}

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const auto beside = QCoreApplication::applicationDirPath() + u"/scenarios"_s;
    const auto scenarios = loadScenarios(qEnvironmentVariable("OMBRU_SCENARIO", beside));
    if (!scenarios)
        return refuse(scenarios.error());
    const auto tool = toolOf(*scenarios);
    const auto options = parseOptions(QCoreApplication::arguments().mid(1), tool.without);
    if (!options)
        return refuse(options.error());
    switch (options->action) {
    case Options::Action::Help:
        return say(stdout, helpText(tool.without).toUtf8(), 0);
    case Options::Action::Version:
        return say(stdout, "1.0.0 (rehearsed agent)\n", 0);
    case Options::Action::AuthStatus:
        return authStatus(tool.account);
    case Options::Action::SignIn:
        return say(stdout, "The rehearsed agent needs no account.\n", 0);
    case Options::Action::Update:
        return say(stdout, "The rehearsed agent is updated with ombru.\n", 0);
    case Options::Action::Print:
        return print(*options, *scenarios);
    }
}
