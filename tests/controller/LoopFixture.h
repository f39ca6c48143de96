// A controller with everything around it played by the test: claude, osascript, the screen, the log.
#pragma once
#include "base/Background.h"
#include "controller/AppState.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/StandIn.h"
#include "tests/support/Wait.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace ombru::test {

using namespace Qt::StringLiterals;

class LoopFixture : public ::testing::Test {
protected:
    LoopFixture() {
        qputenv("HOME", home.path().toUtf8());
        for (const auto *name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"})
            qunsetenv(name);
        qputenv("PATH", PATH);
        FakePlatform::reset();
        FakePlatform::instance().osascript = home.filePath(u"osascript"_s);
        osascript.playAlways("exit 0\n");
        state = std::make_unique<AppState>();
        EXPECT_TRUE(state->settings.settle.write(0));
        heard =
            state->onEvent([this](const Event &event) { events.append(kindName(event.kind) + u": "_s + event.text); });
    }

    // A job of a cancelled task may still be looking at the computer that the next test sets up anew.
    ~LoopFixture() override {
        await(state->drain());
        EXPECT_TRUE(finishBackground(std::chrono::minutes(1)));
    }

    static QByteArray resultJson(const QString &text, const QString &session = u"session-1"_s) {
        return QJsonDocument(QJsonObject{{u"type"_s, u"result"_s},
                                         {u"is_error"_s, false},
                                         {u"result"_s, text},
                                         {u"session_id"_s, session}})
            .toJson(QJsonDocument::Compact);
    }

    // Claude's replies, one a call; a call beyond them fails.
    void reply(const QStringList &texts) {
        for (int call = 1; call <= texts.size(); ++call) {
            claude.file(u"reply.%1"_s.arg(call), resultJson(texts[call - 1]));
            claude.play(call, "cat \"$d/reply.$n\"\n");
        }
    }

    static QString block(const QString &script, const QString &prose = {}) {
        return prose + u"\n```applescript\n"_s + script + u"\n```"_s;
    }

    TaskResult finish() {
        EXPECT_TRUE(waitUntil([this] { return !state->busy; })) << events.join(u'\n').toStdString();
        return state->lastResult->value_or(TaskResult{});
    }

    TaskResult runTask(const QString &task) {
        state->startTask(task);
        return finish();
    }

    // The events that matter to a test: without the lines that hold times and file names.
    QStringList plainEvents() const {
        QStringList plain;
        for (const auto &event : events) {
            if (!event.startsWith(u"dim: screenshot"_s) && !event.startsWith(u"dim: replied"_s))
                plain.append(event);
        }
        return plain;
    }

    // The message that claude was sent in that call.
    QString message(int call) const { return claude.arguments(call).value(1); }

    static QStringList notificationTitles() {
        QStringList titles;
        for (const auto &update : FakePlatform::instance().notifications)
            titles.append(update.notification ? update.notification->title : QString());
        return titles;
    }

    static inline const QByteArray PATH = qgetenv("PATH");
    QTemporaryDir home;
    StandIn claude{home.filePath(u".local/bin/claude"_s), home.filePath(u"claude"_s)};
    StandIn osascript{home.filePath(u"osascript"_s), home.filePath(u"scripts"_s)};
    std::unique_ptr<AppState> state;
    QStringList events;
    Subscription heard;
};

} // namespace ombru::test
