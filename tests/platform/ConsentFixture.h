// The record of the owner's decisions in a home of its own, and one application to decide about.
#pragma once
#include "platform/Consent.h"
#include "platform/linux/consent/ConsentCheck.h"
#include "tests/support/Consent.h"
#include "tests/support/Processes.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace ombru::test {

using namespace Qt::StringLiterals;

inline const QString EDITOR = u"org.example.Editor"_s;
inline const QString CLIENT = u"com.ombru.mac"_s;

class ConsentFixture : public ::testing::Test {
protected:
    ConsentFixture() {
        QDir().mkpath(scratch.path(u"system/applications"_s));
        scratch.write(u"system/applications/org.example.Editor.desktop"_s,
                      "[Desktop Entry]\nType=Application\nName=Writer's Desk\nExec=/bin/true %F\n"
                      "Categories=TextEditor;\nMimeType=text/plain;\n");
    }

    // Somebody else's statements on the file.
    void sql(const char *statements) {
        SQLite::Database database(consentDatabase().toStdString(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, 5000);
        database.exec(statements);
    }
    static int mode(const QString &path) {
        struct stat file = {};
        return ::stat(path.toUtf8().constData(), &file) == 0 ? int(file.st_mode & 07777) : -1;
    }
    static std::optional<bool> read(ConsentRecord &record) {
        const auto decision = record.decision(CLIENT, EDITOR);
        EXPECT_TRUE(decision) << decision.error().description.toStdString();
        return decision.value_or(std::nullopt);
    }
    // Nothing is let through, nothing is changed, and who looks into it is told which file it is.
    void expectUnusable() {
        const auto before = contents(consentDatabase());
        EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_UNDECIDED);
        for (const auto &failure : {consentDecisions().error(), refuseConsent(CLIENT, EDITOR).error(),
                                    forgetConsent(CLIENT, EDITOR).error()}) {
            EXPECT_EQ(failure.domain, u"consent"_s);
            EXPECT_TRUE(failure.description.contains(consentDatabase())) << failure.description.toStdString();
        }
        EXPECT_EQ(contents(consentDatabase()), before);
    }
    static ConsentCheck check() { return ConsentCheck({CLIENT, std::nullopt}); }

    Scratch scratch;
    Variable data{"XDG_DATA_HOME", scratch.directory().toUtf8()};
    Variable system{"XDG_DATA_DIRS", scratch.path(u"system"_s).toUtf8()};
    Variable config{"XDG_CONFIG_HOME", scratch.path(u"config"_s).toUtf8()};
    Variable configs{"XDG_CONFIG_DIRS", scratch.path(u"config"_s).toUtf8()};
    Variable display{"DISPLAY"};
    Variable wayland{"WAYLAND_DISPLAY"};
};

} // namespace ombru::test
