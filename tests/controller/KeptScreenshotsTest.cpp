#include "controller/KeptScreenshots.h"

#include "tests/controller/LoopFixture.h"

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

constexpr qint64 DAY = 24 * 60 * 60;

QString nameBefore(qint64 seconds) {
    return u"shot_%1_001.png"_s.arg(qint64(Clock::unixSeconds()) - seconds - 60);
}

QString nameAt(qint64 daysAgo) {
    return nameBefore(daysAgo * DAY);
}

} // namespace

class KeptScreenshots : public test::LoopFixture {
protected:
    KeptScreenshots() { QDir().mkpath(directory()); }

    QString directory() const { return home.filePath(u".local/share/ombru/screenshots"_s); }
    QString path(const QString &name) const { return directory() + u'/' + name; }
    QString leave(const QString &name) const {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QFile::WriteOnly));
        return name;
    }
    // Once all that tasks have begun beside them is done.
    QStringList left() const {
        EXPECT_TRUE(finishBackground(std::chrono::minutes(1)));
        return QDir(directory()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    }
};

TEST_F(KeptScreenshots, ATaskRemovesTheOnesOlderThanAWeekAndLeavesItsOwn) {
    const auto old = leave(nameAt(7));
    const auto young = leave(nameAt(6));
    reply({u"DONE: ok"_s});
    runTask(u"look"_s);
    EXPECT_FALSE(left().contains(old));
    EXPECT_TRUE(left().contains(young));
    EXPECT_EQ(left().size(), 2) << left().join(u' ').toStdString();
}

TEST_F(KeptScreenshots, NoDaysKeepNoneOfTheTask) {
    const auto ofAnother = leave(nameAt(0));
    leave(nameBefore(3600));
    EXPECT_TRUE(state->settings.screenshotDays.write(0));
    reply({block(u"return 1"_s), u"DONE: ok"_s});
    runTask(u"look"_s);
    EXPECT_TRUE(message(2).contains(u"shot_"_s)) << "there were some";
    EXPECT_EQ(left(), QStringList{ofAnother}) << "which may be at work on another desktop";
}

TEST_F(KeptScreenshots, AStoppedTaskKeepsNoneEither) {
    EXPECT_TRUE(state->settings.screenshotDays.write(0));
    claude.playAlways("exec sleep 1000");
    state->startTask(u"wait"_s);
    EXPECT_TRUE(test::waitUntil([this] { return !left().isEmpty() && claude.calls() > 0; }));
    state->cancelTask();
    EXPECT_EQ(finish().outcome, TaskResult::Outcome::cancelled);
    EXPECT_EQ(left(), QStringList());
}

TEST_F(KeptScreenshots, WhatHasAnotherNameOrIsNoFileStays) {
    QStringList others{u"holiday_1_001.png"_s, u"shot_1_001.png.bak"_s, u"shot_x_001.png"_s, u"my shot_1_001.png"_s};
    for (const auto &name : others)
        leave(name);
    EXPECT_TRUE(QDir(directory()).mkdir(u"shot_1_002.png"_s));
    EXPECT_TRUE(QFile::link(path(others[0]), path(u"shot_1_003.png"_s)));
    others << u"shot_1_002.png"_s << u"shot_1_003.png"_s;
    leave(u"shot_1_001.png"_s);
    removeScreenshots(directory(), 1, {});
    others.sort();
    auto found = left();
    found.sort();
    EXPECT_EQ(found, others) << found.join(u' ').toStdString();
}

TEST_F(KeptScreenshots, ADirectoryThatCannotBeReadIsInTheLog) {
    const auto file = path(leave(u"file"_s));
    removeScreenshots(file, 1, {});
    const auto logged = FakePlatform::instance().logged;
    ASSERT_FALSE(logged.empty());
    EXPECT_TRUE(logged.back().text.startsWith(u"screenshots: "_s + file)) << logged.back().text.toStdString();
    removeScreenshots(path(u"missing"_s), 1, {});
    EXPECT_EQ(FakePlatform::instance().logged.size(), logged.size()) << "there is nothing to say then";
}
