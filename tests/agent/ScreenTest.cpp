#include "agent/Screen.h"

#include "base/Background.h"
#include "base/WholeFile.h"
#include "picture/PictureFile.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/Wait.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>
#include <sys/resource.h>
#include <turbojpeg.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const Failure PERMISSION{u"screen"_s, 1,
                         u"screenshot failed — give ombru Screen Recording permission "
                         "(System Settings → Privacy & Security)"_s};

QSize jpegSize(const QByteArray &jpeg) {
    const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
    int width = 0;
    int height = 0;
    int sampling = 0;
    tjDecompressHeader2(decoder.get(), reinterpret_cast<unsigned char *>(const_cast<char *>(jpeg.data())),
                        static_cast<unsigned long>(jpeg.size()), &width, &height, &sampling);
    return {width, height};
}

class ScreenTest : public testing::Test {
protected:
    void SetUp() override { FakePlatform::reset(); }

    static void show(int width, int height) {
        FakePlatform::instance().screenshot = [=] { return FakePlatform::plainPicture(width, height, 0x224466); };
    }
    QString directory() const { return m_directory.filePath(u"screenshots"_s); }
    QStringList files() const { return QDir(directory()).entryList(QDir::Files | QDir::Hidden); }
    QString written(int width, int height) const {
        const QString path = m_directory.filePath(u"picture.png"_s);
        EXPECT_TRUE(writeWholeFile(path, *encodePng(FakePlatform::plainPicture(width, height, 0xff00ff))));
        return path;
    }
    static void expectFailed(const std::expected<Screen::Shot, ToolFailure> &shot, const QString &cause) {
        ASSERT_FALSE(shot);
        EXPECT_EQ(shot.error(), PERMISSION);
        EXPECT_TRUE(shot.error().cause.contains(cause)) << shot.error().cause.toStdString();
    }

    QTemporaryDir m_directory;
    ManualClock m_clock; // a busy machine may take longer over a picture than a display is given
};

} // namespace

TEST_F(ScreenTest, ALargeScreenIsShrunkAndTheReturnedSizeIsTheFiles) {
    show(3024, 1964);
    const auto shot = await(Screen::capture(directory(), 1));
    ASSERT_TRUE(shot);
    EXPECT_EQ(shot->size, QSize(1568, 1018));
    const auto file = readPng(shot->file);
    ASSERT_TRUE(file);
    EXPECT_EQ(QSize(file->width, file->height), shot->size);
    EXPECT_EQ(file->row(500)[700] & 0xffffff, 0x224466U);
}

TEST_F(ScreenTest, ASmallScreenIsEnlargedToo) {
    show(640, 480);
    EXPECT_EQ(await(Screen::capture(directory(), 1))->size, QSize(1568, 1176));
}

TEST_F(ScreenTest, AnUprightScreensHeightIsItsLongerSide) {
    show(1080, 1920);
    EXPECT_EQ(await(Screen::capture(directory(), 1))->size, QSize(882, 1568));
}

TEST_F(ScreenTest, AScreenOfThatSizeIsTakenAsItIs) {
    show(1568, 1000);
    EXPECT_EQ(await(Screen::capture(directory(), 1))->size, QSize(1568, 1000));
}

TEST_F(ScreenTest, TheFileIsNamedAfterTimeAndStep) {
    const auto before = static_cast<qint64>(Clock::unixSeconds());
    const auto shot = await(Screen::capture(directory(), 7));
    const auto match = QRegularExpression(u"^shot_(\\d+)_007\\.png$"_s).match(QFileInfo(shot->file).fileName());
    ASSERT_TRUE(match.hasMatch()) << shot->file.toStdString();
    EXPECT_GE(match.captured(1).toLongLong(), before);
    EXPECT_LE(match.captured(1).toLongLong(), static_cast<qint64>(Clock::unixSeconds()));
    EXPECT_EQ(QFileInfo(shot->file).path(), directory());
    EXPECT_TRUE(await(Screen::capture(directory(), 1234))->file.endsWith(u"_1234.png"_s));
}

TEST_F(ScreenTest, TheFileIsForTheOwnerOnly) {
    const auto shot = await(Screen::capture(directory(), 1));
    EXPECT_FALSE(QFile::permissions(shot->file) & (QFile::ReadGroup | QFile::ReadOther));
}

TEST_F(ScreenTest, ADirectoryThatVanishesIsMadeAgain) {
    ASSERT_TRUE(await(Screen::capture(directory(), 1)));
    ASSERT_TRUE(QDir(directory()).removeRecursively());
    EXPECT_TRUE(await(Screen::capture(directory(), 2)));
    EXPECT_EQ(files().size(), 1);
}

TEST_F(ScreenTest, WithoutAPictureTheOwnerIsToldOfThePermissionAndOfTheCause) {
    FakePlatform::instance().screenshot = [] -> Result<Picture> {
        return std::unexpected(Failure{u"display"_s, 1, u"There is no display."_s});
    };
    const auto shot = await(Screen::capture(directory(), 1));
    expectFailed(shot, u"There is no display."_s);
    EXPECT_TRUE(files().isEmpty());
}

TEST_F(ScreenTest, ADirectoryThatCannotBeMadeGivesTheSameFailure) {
    const QString file = written(2, 2);
    const auto shot = await(Screen::capture(file + u"/screenshots"_s, 1));
    expectFailed(shot, u"Its file could not be kept: cannot make %1/screenshots: Not a directory. Make"_s.arg(file));
}

TEST_F(ScreenTest, ADirectoryThatMayNotBeWrittenGivesTheSameFailure) {
    const auto shot = await(Screen::capture(u"/proc/self"_s, 1));
    expectFailed(shot, u"Its file could not be kept: cannot write /proc/self/shot_"_s);
    EXPECT_TRUE(shot.error().cause.endsWith(u"Make that directory yours to write in."_s));
}

TEST_F(ScreenTest, AFullDiskGivesTheSameFailureAndLeavesNoPartOfAFile) {
    ASSERT_TRUE(await(Screen::capture(directory(), 1)));
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{1024, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const auto shot = await(Screen::capture(directory(), 2));
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    expectFailed(shot, u"File too large. Make room on that disk."_s);
    EXPECT_EQ(files().size(), 1);
}

TEST_F(ScreenTest, TheMainThreadRunsWhileThePictureIsTaken) {
    std::atomic<bool> release = false;
    FakePlatform::instance().screenshot = [&release] {
        while (!release)
            std::this_thread::yield();
        return FakePlatform::plainPicture(100, 100, 0);
    };
    bool ran = false;
    Loop::main().post([&] {
        ran = true;
        release = true;
    });
    EXPECT_TRUE(await(Screen::capture(directory(), 1)));
    EXPECT_TRUE(ran);
}

TEST_F(ScreenTest, ADisplayThatDoesNotAnswerIsGivenUpAfterFifteenSeconds) {
    const auto release = std::make_shared<std::atomic<bool>>(false);
    const auto waiting = std::make_shared<std::atomic<bool>>(false);
    FakePlatform::instance().screenshot = [release, waiting]() -> Result<Picture> {
        *waiting = true;
        release->wait(false);
        return FakePlatform::plainPicture(64, 48, 0);
    };
    const auto shot = std::make_shared<std::optional<std::expected<Screen::Shot, ToolFailure>>>();
    const auto kept = keep(Screen::capture(directory(), 1), shot);
    ASSERT_TRUE(waitUntil([&] { return waiting->load(); }));
    m_clock.advance(std::chrono::milliseconds(14'999));
    settle();
    EXPECT_FALSE(*shot);
    m_clock.advance(std::chrono::milliseconds(1));
    ASSERT_TRUE(waitUntil([&] { return shot->has_value(); }));
    expectFailed(**shot, u"does not answer"_s);
    *release = true;
    release->notify_all();
    EXPECT_TRUE(finishBackground(std::chrono::minutes(1)));
}

TEST_F(ScreenTest, PointsAreTheScreensOwn) {
    FakePlatform::instance().screenSize = {1512, 982};
    const auto shot = await(Screen::capture(directory(), 1));
    ASSERT_TRUE(shot);
    EXPECT_EQ(shot->points, QSize(1512, 982));
}

TEST_F(ScreenTest, AScreenThatGoesAwayWhileItIsTakenGivesTheSameFailure) {
    FakePlatform::instance().screenSize = {};
    const auto shot = await(Screen::capture(directory(), 1));
    ASSERT_FALSE(shot);
    EXPECT_EQ(shot.error(), PERMISSION);
    EXPECT_TRUE(files().isEmpty());
}

TEST_F(ScreenTest, TheShotCarriesThePictureOfTheFile) {
    show(3024, 1964);
    const auto shot = await(Screen::capture(directory(), 1));
    ASSERT_TRUE(shot);
    EXPECT_EQ(QSize(shot->picture.width, shot->picture.height), shot->size);
    EXPECT_EQ(shot->picture.row(500)[700] & 0xffffff, 0x224466U);
}

TEST_F(ScreenTest, APreviewIsMadeFromMemoryAloneAndIsThatOfTheFile) {
    show(3024, 1964);
    const auto shot = await(Screen::capture(directory(), 1));
    ASSERT_TRUE(shot);
    const auto fromFile = await(Screen::previewJPEG(shot->file));
    ASSERT_TRUE(QFile::remove(shot->file));
    const auto preview = await(Screen::previewJPEG(shot->picture));
    ASSERT_TRUE(preview);
    EXPECT_EQ(jpegSize(*preview), QSize(1280, 831));
    EXPECT_EQ(preview, fromFile);
}

TEST_F(ScreenTest, APreviewIsAtMost1280PixelsOnItsLongerSide) {
    EXPECT_EQ(jpegSize(*await(Screen::previewJPEG(written(1568, 1018)))), QSize(1280, 831));
    EXPECT_EQ(jpegSize(*await(Screen::previewJPEG(written(700, 1400)))), QSize(640, 1280));
    EXPECT_EQ(jpegSize(*await(Screen::previewJPEG(written(1568, 1018), 100))), QSize(100, 65));
}

TEST_F(ScreenTest, APreviewHasThreeFifthsOfTheQuality) {
    const auto picture = FakePlatform::plainPicture(64, 48, 0x224466);
    EXPECT_EQ(await(Screen::previewJPEG(picture)), encodeJpeg(picture, 0.6));
    EXPECT_EQ(await(Screen::previewJPEG(picture, 1280, 0.9)), encodeJpeg(picture, 0.9));
    EXPECT_EQ(await(Screen::previewJPEG(written(64, 48))),
              encodeJpeg(FakePlatform::plainPicture(64, 48, 0xff00ff), 0.6));
}

TEST_F(ScreenTest, APreviewNeverGrows) {
    EXPECT_EQ(jpegSize(*await(Screen::previewJPEG(written(200, 100)))), QSize(200, 100));
    EXPECT_EQ(jpegSize(*await(Screen::previewJPEG(written(1280, 100)))), QSize(1280, 100));
}

TEST_F(ScreenTest, ThereIsNoPreviewOfWhatIsNoPicture) {
    const QString path = m_directory.filePath(u"bad.png"_s);
    EXPECT_FALSE(await(Screen::previewJPEG(path)));
    ASSERT_TRUE(writeWholeFile(path, QByteArray(1000, 'g')));
    EXPECT_FALSE(await(Screen::previewJPEG(path)));
    const QByteArray png = *encodePng(FakePlatform::plainPicture(300, 300, 0x123456));
    ASSERT_TRUE(writeWholeFile(path, png.first(png.size() - 30)));
    EXPECT_FALSE(await(Screen::previewJPEG(path)));
}
