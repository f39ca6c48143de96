// The words of the task loop: what a reply means and what is said about it. Pure functions, any thread.
#pragma once
#include <QSize>
#include <QString>
#include <QStringList>

#include <optional>

namespace ombru {

struct SplitReply {
    std::optional<QString> script; // the first script block, trimmed; none when the reply has no block
    QString prose;                 // the reply without any of its blocks, trimmed

    // What is not run although it looks as if it should be, a line each for the owner: scripts after the first, and
    // where there is no script, blocks that were not closed or are fenced or labelled otherwise.
    QStringList notRun = {};
};
SplitReply splitReply(const QString &reply);

// One line that says what a step does: the first sentence of the prose without markup, at most 140 characters.
QString plainStep(const QString &prose);

// A reply without a script, read as the final answer.
struct FinalReply {
    bool done = false; // it began with "DONE:"
    QString shown;     // what the log shows
    QString answer;    // what is told to whoever asked
};
FinalReply readFinalReply(const QString &reply);

// What claude is sent for one turn. Image in pixels, screen in points; neither side is 0.
QString turnMessage(const QString &head, int step, const QString &screenshot, QSize image, QSize screen);

// The head of the next turn's message after a script ran.
QString resultHead(bool ok, const QString &output);

// The output of a script that its owner, who was asked, did not let run.
QString skippedText(const QString &word);

// What the owner does about applications that a script may not control; `denied` when any of them was refused outright.
QString automationAdvice(bool denied);

// The head of the next turn's message after a script was not run because of these applications.
QString refusedHead(const QString &names, const QString &advice);

// The output says that the system refused the script an application.
bool isAutomationRefusal(const QString &output);

// The names of the applications that the output says it refused, each once.
QStringList refusedApplications(const QString &output);

// What went wrong in one short line, for the notification.
QString errorHeadline(const QString &output);

// What is said when another process has the desktop.
QString desktopInUseText();

// The title under which a task ends; it follows the answer's words.
QString finishTitle(const QString &answer);

QString secondsText(double seconds); // "1.5"

} // namespace ombru
