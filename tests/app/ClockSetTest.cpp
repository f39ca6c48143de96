// The application that stays, while somebody sets the computer's clock.
#include "tests/app/ResidentJourney.h"

#include <QDirIterator>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class ClockSet : public ResidentJourney {
protected:
    ClockSet() {
        set("+0");
        m_environment["LD_PRELOAD"] = library().toUtf8();
        m_environment["FAKETIME_TIMESTAMP_FILE"] = m_scratch.path(u"clock"_s).toUtf8();
        m_environment["FAKETIME_NO_CACHE"] = "1";
        m_environment["FAKETIME_DONT_FAKE_MONOTONIC"] = "1"; // nobody sets that one
        signInBefore();
        reply({u"DONE: one"_s, u"DONE: two"_s});
        playQuestions("date +%F >\"$d/day.$n\"; cat \"$d/reply.$n\"");
        m_application = startApplication();
    }
    static QString library() {
        QDirIterator all(u"/usr/lib"_s, {u"libfaketimeMT.so.1"_s}, QDir::Files, QDirIterator::Subdirectories);
        EXPECT_TRUE(all.hasNext()) << "Debian package: faketime";
        return all.next();
    }
    // So far from what it is.
    void set(const QByteArray &difference) { m_scratch.write(u"clock"_s, difference); }
    bool does(const QByteArray &task, const QByteArray &answer) {
        m_service.newest().sendText(R"({"type": "task", "text": ")" + task + "\"}");
        return tells("✓ " + answer);
    }
    void goOnAfter(const QByteArray &difference, int days) {
        ASSERT_TRUE(connected());
        ASSERT_TRUE(does("first", "one"));
        set(difference);
        EXPECT_TRUE(does("second", "two"));
        EXPECT_EQ(m_service.channels.size(), 1U);
        EXPECT_NEAR(double(QDate::currentDate().daysTo(day())), days, 1);
        kill(SIGTERM);
        EXPECT_EQ(end(m_application).status, 0);
    }
    // The day of the second question, as the agent had it.
    QDate day() const {
        return QDate::fromString(QString::fromLatin1(contents(m_scratch.path(u"claude/day.2"_s)).trimmed()),
                                 Qt::ISODate);
    }
};

} // namespace

TEST_F(ClockSet, BackItStaysConnectedAndDoesItsTasks) {
    goOnAfter("-3d", -3);
}

TEST_F(ClockSet, FarAheadItDoesToo) {
    goOnAfter("+400d", 400);
}
