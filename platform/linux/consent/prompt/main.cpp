// ombru-consent-prompt: asks the owner whether one program may control another, and records the answer. Ends with 0:
// allowed, 1: refused, or another status and a line on standard error when nobody could be asked or nothing recorded.
// One prompt is open at a time; one that waited takes the answer that was given meanwhile, unless it is to ask again
// about a refusal. Ends with whoever started it, and unanswered when its time is over.
#include "base/Program.h"
#include "look/Translation.h"
#include "platform/AssistiveAccess.h"
#include "platform/WindowAccess.h"
#include "platform/linux/applications/InstalledApplications.h"
#include "platform/linux/consent/ConsentCheck.h"
#include "platform/linux/consent/PromptLock.h"
#include "platform/linux/consent/prompt/FreeInput.h"
#include "platform/linux/consent/prompt/PromptWindow.h"
#include "platform/linux/windows/ShowInFront.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QIcon>
#include <QTranslator>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/prctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace ombru;

namespace {

constexpr unsigned TIME = 600; // seconds, with all waiting

enum Status { ALLOWED = 0, REFUSED = 1, NOBODY_ASKED = 2 };

struct Question {
    QString client;
    QString application;
    bool again = false;  // whatever was refused before
    bool forget = false; // a refusal: that is the question
    unsigned seconds = TIME;
};

Status complain(const QString &what) {
    std::fprintf(stderr, "ombru-consent-prompt: %s\n", qPrintable(what));
    return NOBODY_ASKED;
}

// A question without whoever asked it is nobody's. By SIGKILL, which nothing holds up; an answer is either recorded or
// not. False when that one is gone already.
bool endWithParent() {
    const pid_t parent = ::getppid();
    std::signal(SIGTERM, SIG_DFL);
    sigset_t ending;
    ::sigemptyset(&ending);
    for (const int number : {SIGTERM, SIGALRM})
        ::sigaddset(&ending, number);
    ::sigprocmask(SIG_UNBLOCK, &ending, nullptr);
    return ::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && parent != 1 && ::getppid() == parent;
}

// No other program of this user looks into the answer or changes it.
void closeToOthers() {
    ::prctl(PR_SET_DUMPABLE, 0);
}

void leaveTooLate(int) {
    constexpr std::string_view LINE = "ombru-consent-prompt: Nobody answered in time.\n";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, LINE.data(), LINE.size());
    std::_Exit(NOBODY_ASKED);
}

void leaveAfter(unsigned seconds) {
    std::signal(SIGALRM, leaveTooLate);
    ::alarm(seconds);
}

Result<Question> questionIn(const QStringList &arguments) {
    QCommandLineParser parser;
    const QCommandLineOption client(u"client"_s, {}, u"CLIENT"_s);
    const QCommandLineOption application(u"application"_s, {}, u"ID"_s);
    parser.addOption(client);
    const QCommandLineOption again(u"again"_s);
    const QCommandLineOption within(u"within"_s, {}, u"SECONDS"_s, QString::number(TIME));
    const QCommandLineOption forget(u"forget"_s);
    parser.addOptions({application, again, forget, within});
    const bool read = parser.parse(arguments) && parser.positionalArguments().isEmpty();
    const auto seconds = std::min(parser.value(within).toUInt(), TIME);
    if (!read || seconds == 0 || parser.value(client).isEmpty() || parser.value(application).isEmpty())
        return std::unexpected(Failure{
            u"prompt"_s, 1, u"usage: --client CLIENT --application ID [--again or --forget] [--within SECONDS]"_s});
    return Question{consentIdentity(ConsentParty::client, parser.value(client)),
                    consentIdentity(ConsentParty::application, parser.value(application)), parser.isSet(again),
                    parser.isSet(forget), seconds};
}

Result<> keep(const Question &question, bool answer) {
    ConsentRecord record(consentDatabase());
    if (!question.forget)
        return record.decide(question.client, question.application, answer);
    return answer ? record.forget(question.client, question.application) : Result<>();
}

// Whether there is something to ask, after what is decided.
bool isOpen(const Question &question, const std::optional<bool> &decided) {
    if (question.forget)
        return decided == false;
    return !decided || (!*decided && question.again);
}

Status ask(const Question &question) {
    std::optional<bool> answer;
    const auto text = question.forget ? forgetText : promptText;
    PromptWindow window(text(question.client, question.application, *installedApplications()), [&](bool allowed) {
        answer = allowed;
        QApplication::quit();
    });
    showInFront(window);
    QApplication::exec();
    if (!answer)
        return complain(u"The window was ended before it was answered."_s);
    // A script may have started this program: what counts here is the owner's answer.
    if (const auto written = keep(question, *answer); !written)
        return complain(written.error().description);
    return *answer ? ALLOWED : REFUSED;
}

// Qt ends a program whose display goes away with a status that would be an answer.
bool answered = false;
void leaveUnanswered() {
    if (!answered)
        std::_Exit(NOBODY_ASKED);
}

} // namespace

int main(int argc, char **argv) {
    beginProgram();
    closeToOthers();
    if (!endWithParent())
        return complain(u"The program that asks has ended."_s);
    const auto question = questionIn([&] {
        QStringList words;
        for (int word = 0; word < argc; ++word)
            words += QString::fromLocal8Bit(argv[word]);
        return words;
    }());
    if (!question)
        return complain(question.error().description);
    leaveAfter(question->seconds);
    if (const auto display = windowsCanBeShown(); !display)
        return complain(display.error().description);
    const auto database = consentDatabase();
    const auto alone = PromptLock::forPrompt(database);
    if (!alone)
        return complain(alone.error().description);
    const auto decided = ConsentRecord(database).decision(question->client, question->application);
    if (!decided)
        return complain(decided.error().description);
    if (!isOpen(*question, *decided))
        return question->forget || **decided ? ALLOWED : REFUSED;

    awaitFreeInput();
    int none = 1; // the arguments are not Qt's
    QApplication application(none, argv);
    describeWindowsOnly();
    QApplication::setQuitOnLastWindowClosed(false);
    QIcon::setFallbackSearchPaths(QIcon::fallbackSearchPaths() + QStringList{u"/usr/share/pixmaps"_s});
    const auto translator = translateTexts(catalogueDirectory());
    std::atexit(leaveUnanswered);
    const Status status = ask(*question);
    answered = true;
    return status;
}
