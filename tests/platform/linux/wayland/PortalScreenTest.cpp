// The screen of a Wayland session, which a stand-in for the desktop portal shows.

#include "base/Background.h"
#include "base/WholeFile.h"
#include "picture/PictureFile.h"
#include "platform/Diagnosis.h"
#include "platform/ScreenAccess.h"
#include "platform/Screenshot.h"
#include "platform/linux/wayland/Portal.h"
#include "platform/linux/wayland/PortalScreen.h"
#include "tests/support/PortalStandIn.h"
#include "tests/support/SessionBus.h"
#include "tests/support/Wait.h"
#include "tests/support/XServer.h"

#include <QDir>
#include <QFile>
#include <QUrl>

#include <csignal>
#include <cstdlib>
#include <sys/stat.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using Manner = PortalStandIn::Manner;

namespace {

// Another one for each test: what the portal has shown is remembered by the bus.
class PortalScreen : public testing::Test {
protected:
    // A picture whose left half is red and whose right half is green, where the portal will say it is.
    QString offer(int width, int height) {
        const auto pixels = std::make_shared<std::uint32_t[]>(static_cast<std::size_t>(width) * height);
        for (int i = 0; i < width * height; ++i)
            pixels[i] = i % width < width / 2 ? 0xff0000 : 0x00ff00;
        const QString path = m_pictures.filePath(u"Screenshot äöü 1.png"_s);
        EXPECT_TRUE(writeWholeFile(path, *encodePng({width, height, pixels})));
        m_portal->uri = QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded);
        return path;
    }

    static bool allowed() { return await(background(screenCaptureAllowed)); }
    static bool request() { return await(background(requestScreenCapture)); }
    Result<Picture> take(int longerSide) {
        const auto taken = await(background([longerSide] { return takeScreenshot(longerSide); }));
        if (!taken)
            return std::unexpected(taken.error());
        m_points = taken->points;
        return taken->picture;
    }

    void expectFailure(const QString &part) {
        const auto picture = take(100);
        ASSERT_FALSE(picture);
        EXPECT_EQ(picture.error().domain, u"screenshot"_s);
        EXPECT_TRUE(picture.error().description.contains(part)) << picture.error().description.toStdString();
    }

    Variable m_wayland{"WAYLAND_DISPLAY", "wayland-0"};
    Variable m_type{"XDG_SESSION_TYPE", "wayland"};
    Variable m_display{"DISPLAY"};
    QTemporaryDir m_pictures;
    QSize m_points; // of the last picture
    SessionBus m_bus;
    std::optional<PortalStandIn> m_portal{std::in_place, m_bus.address()};
};

} // namespace

TEST_F(PortalScreen, IsAllowedWhereThePortalRemembersThatItIs) {
    EXPECT_FALSE(allowed());
    m_portal->decisions = {{u"org.other.Program"_s, u"yes"_s}};
    EXPECT_FALSE(allowed());
    m_portal->decisions = {{u"org.other.Program"_s, u"no"_s}, {QString(), u"yes"_s}};
    EXPECT_TRUE(allowed());
    m_portal->decisions = {{QString(), u"no"_s}};
    EXPECT_FALSE(allowed());
    m_portal->decisions = {{QString(), u"ask"_s}};
    EXPECT_FALSE(allowed());
    EXPECT_EQ(m_portal->calls, QStringList()) << "looking must ask nobody";
}

TEST_F(PortalScreen, IsMissingWithoutAPortal) {
    m_portal->decisions = {{QString(), u"yes"_s}};
    m_portal->versions.erase(u"Screenshot"_s);
    EXPECT_FALSE(allowed());
    EXPECT_FALSE(request());
    expectFailure(u"Install xdg-desktop-portal"_s);
    m_portal.reset();
    EXPECT_FALSE(allowed());
    EXPECT_FALSE(request());
    expectFailure(u"Install xdg-desktop-portal"_s);
}

TEST_F(PortalScreen, IsMissingWithoutABus) {
    const Variable none("DBUS_SESSION_BUS_ADDRESS");
    const Variable nowhere("XDG_RUNTIME_DIR", "/nonexistent");
    EXPECT_FALSE(allowed());
    EXPECT_FALSE(request());
    expectFailure(u"inside the desktop session"_s);
    const Variable gone("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    EXPECT_FALSE(allowed());
    const Variable garbage("DBUS_SESSION_BUS_ADDRESS", "garbage");
    EXPECT_FALSE(allowed());
    EXPECT_FALSE(request());
}

TEST_F(PortalScreen, IsAllowedOnceItWasShownUnlessThePortalRemembersOtherwise) {
    const QString file = offer(40, 20);
    EXPECT_FALSE(allowed());
    EXPECT_TRUE(request());
    EXPECT_EQ(m_portal->calls, QStringList{u"Screenshot"_s});
    EXPECT_EQ(m_portal->told[u"Screenshot"_s].value(u"interactive"_s), QVariant(false));
    EXPECT_FALSE(QFile::exists(file));
    EXPECT_TRUE(allowed());
    m_portal->decisions = {{QString(), u"no"_s}};
    EXPECT_FALSE(allowed());
}

TEST_F(PortalScreen, IsMissingWhenItsOwnerOrThePortalRefuses) {
    offer(40, 20);
    for (const Manner manner : {Manner::cancels, Manner::fails, Manner::refusesCalls}) {
        m_portal->manner = manner;
        EXPECT_FALSE(request());
        EXPECT_FALSE(allowed());
    }
    m_portal->manner = Manner::cancels;
    expectFailure(u"allow it"_s);
    m_portal->manner = Manner::fails;
    expectFailure(u"privacy settings"_s);
    m_portal->manner = Manner::refusesCalls;
    expectFailure(u"not for you"_s);
}

TEST_F(PortalScreen, IsAllowedHoweverTheAnswerComes) {
    for (const Manner manner : {Manner::grantsEarly, Manner::ownPath}) {
        offer(40, 20);
        m_portal->manner = manner;
        EXPECT_TRUE(request());
    }
}

TEST_F(PortalScreen, ASecondRequestDoesNotDisturbTheOneThatIsOpen) {
    offer(40, 20);
    m_portal->manner = Manner::neverAnswers;
    auto first = background(requestScreenCapture);
    ASSERT_TRUE(waitUntil([&] { return m_portal->open() == 1; }));
    m_portal->manner = Manner::cancels;
    EXPECT_FALSE(request());
    EXPECT_EQ(m_portal->open(), 1);
    m_portal->answerOpen();
    EXPECT_TRUE(await(std::move(first)));
}

TEST_F(PortalScreen, APortalThatEndsWhileItsOwnerIsAskedIsARefusalAtOnce) {
    m_portal->manner = Manner::neverAnswers;
    auto request = background(requestScreenCapture);
    ASSERT_TRUE(waitUntil([&] { return m_portal->open() == 1; }));
    m_portal->leave();
    EXPECT_FALSE(await(std::move(request)));
}

TEST_F(PortalScreen, ABusThatEndsWhileItsOwnerIsAskedIsARefusalAtOnce) {
    m_portal->manner = Manner::neverAnswers;
    auto request = background(requestScreenCapture);
    ASSERT_TRUE(waitUntil([&] { return m_portal->open() == 1; }));
    m_bus.signal(SIGKILL);
    EXPECT_FALSE(await(std::move(request)));
}

TEST_F(PortalScreen, ThePictureIsThePortalsAndItsFileDoesNotStay) {
    const QString file = offer(400, 200);
    const auto picture = take(100);
    ASSERT_TRUE(picture) << picture.error().description.toStdString();
    EXPECT_EQ(picture->width, 100);
    EXPECT_EQ(picture->height, 50);
    EXPECT_EQ(picture->row(25)[10] & 0xffffff, 0xff0000U);
    EXPECT_EQ(picture->row(25)[90] & 0xffffff, 0x00ff00U);
    EXPECT_FALSE(QFile::exists(file));
    EXPECT_EQ(m_points, QSize(400, 200));
}

TEST_F(PortalScreen, OfSeveralMonitorsThePrimaryOneIsShown) {
    const XServer server("400x100x24");
    ASSERT_EQ(std::system("xrandr --setmonitor XWAYLAND0 200/50x100/25+0+0 screen >/dev/null && "
                          "xrandr --setmonitor '*XWAYLAND1' 200/50x100/25+200+0 none >/dev/null"),
              0);
    offer(800, 200); // twice as fine
    const auto picture = take(400);
    ASSERT_TRUE(picture) << picture.error().description.toStdString();
    EXPECT_EQ(picture->width, 400);
    EXPECT_EQ(picture->height, 200);
    EXPECT_EQ(picture->row(0)[0] & 0xffffff, 0x00ff00U);
    EXPECT_EQ(picture->row(199)[399] & 0xffffff, 0x00ff00U);
    EXPECT_EQ(m_points, QSize(200, 100));
}

TEST_F(PortalScreen, APictureOfAnotherShapeThanTheMonitorsIsShownWhole) {
    const XServer server("400x100x24");
    ASSERT_EQ(std::system("xrandr --setmonitor XWAYLAND0 200/50x100/25+200+0 screen >/dev/null"), 0);
    offer(300, 300);
    const auto picture = take(300);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width, 300);
    EXPECT_EQ(picture->height, 300);
}

TEST_F(PortalScreen, AnX11SessionsGuestCompositorDoesNotMakeItWayland) {
    const XServer server("400x100x24");
    const Variable type("XDG_SESSION_TYPE", "x11");
    EXPECT_TRUE(allowed());
    ASSERT_TRUE(take(400));
    EXPECT_EQ(m_portal->calls, QStringList());
}

TEST_F(PortalScreen, AWaylandSessionIsOneHoweverItWasEntered) {
    m_portal->decisions = {{QString(), u"yes"_s}};
    {
        const Variable fromAConsole("XDG_SESSION_TYPE", "tty");
        EXPECT_TRUE(allowed());
    }
    const Variable fromAService("WAYLAND_DISPLAY");
    EXPECT_TRUE(allowed());
    const Variable neither("XDG_SESSION_TYPE");
    EXPECT_FALSE(allowed());
}

TEST(PortalProgram, IsNamedAfterTheUnitThatTheDesktopStartedItIn) {
    const QString user = u"0::/user.slice/user-1000.slice/user@1000.service/app.slice/"_s;
    EXPECT_EQ(portalProgram(user + u"app-gnome-org.gnome.Terminal-1234.scope\n"_s), u"org.gnome.Terminal"_s);
    EXPECT_EQ(portalProgram(user + u"app-org.kde.konsole-ab12.scope\n"_s), u"org.kde.konsole"_s);
    EXPECT_EQ(portalProgram(user + u"app-ombru@autostart.service\n"_s), u"ombru"_s);
    EXPECT_EQ(portalProgram(user + u"app-org.gnome.Terminal.slice/vte-spawn-1.scope\n"_s), QString());
    EXPECT_EQ(portalProgram(u"0::/user.slice/user-1000.slice/session-2.scope\n"_s), QString());
    EXPECT_EQ(portalProgram(QString()), QString());
}

TEST_F(PortalScreen, WhatIsNoFileOfThisComputersIsAFailureThatSaysSo) {
    for (const auto &uri :
         {u"https://example.org/shot.png"_s, u"file://elsewhere/shot.png"_s, u"garbage"_s, QString()}) {
        m_portal->uri = uri;
        expectFailure(u"no file of this computer's"_s);
    }
    EXPECT_TRUE(request()) << "the portal has shown the screen; what became of its picture is another matter";
}

TEST_F(PortalScreen, WhatIsNoPictureIsAFailureAndStaysWhereItIs) {
    const auto say = [this](const QString &name) {
        m_portal->uri = QUrl::fromLocalFile(m_pictures.filePath(name)).toString(QUrl::FullyEncoded);
        return QFile::encodeName(m_pictures.filePath(name));
    };
    say(u"missing.png"_s);
    expectFailure(u"missing.png. Try again"_s);
    QDir(m_pictures.path()).mkdir(u"folder"_s);
    say(u"folder"_s);
    expectFailure(u"is not at"_s);
    ASSERT_EQ(mkfifo(say(u"pipe"_s).constData(), 0600), 0);
    expectFailure(u"is not at"_s);
    ASSERT_TRUE(writeWholeFile(m_pictures.filePath(u"diary.txt"_s), "Dear diary"));
    say(u"diary.txt"_s);
    expectFailure(u"no PNG picture"_s);
    EXPECT_TRUE(QFile::exists(m_pictures.filePath(u"diary.txt"_s)));
    QFile huge(m_pictures.filePath(u"huge.png"_s));
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly) && huge.resize((256 << 20) + 1));
    say(u"huge.png"_s);
    expectFailure(u"larger than ombru reads"_s);
    EXPECT_TRUE(huge.exists());
}

TEST_F(PortalScreen, APortalThatNeverAnswersIsGivenUp) {
    for (const Manner manner : {Manner::neverAnswers, Manner::neverReplies}) {
        m_portal->manner = manner;
        const auto picture = await(background([] { return portalPicture(std::chrono::milliseconds(200)); }));
        ASSERT_FALSE(picture);
        EXPECT_EQ(picture.error().code, Portal::NO_ANSWER);
        EXPECT_TRUE(picture.error().description.contains(u"did not answer in time"_s));
    }
}

TEST_F(PortalScreen, ABusThatNeverAnswersIsGivenUp) {
    m_bus.signal(SIGSTOP);
    auto looking = background(screenCaptureAllowed);
    EXPECT_FALSE(request());
    EXPECT_FALSE(await(std::move(looking)));
    m_bus.signal(SIGCONT);
}

TEST_F(PortalScreen, TheDoctorTakesAPictureAndSaysWhatIsMissing) {
    offer(400, 200);
    EXPECT_EQ(await(screenCheck()), (Check{true, u"400 × 200 pixels through the desktop portal"_s, {}}));
    m_portal->manner = Manner::cancels;
    const Check refused = await(screenCheck());
    EXPECT_FALSE(refused.works);
    EXPECT_TRUE(refused.remedy.contains(u"privacy settings"_s)) << refused.remedy.toStdString();
    m_portal.reset();
    const Check none = await(screenCheck());
    EXPECT_FALSE(none.works);
    EXPECT_TRUE(none.remedy.contains(u"xdg-desktop-portal"_s)) << none.remedy.toStdString();
}

TEST_F(PortalScreen, TheDoctorClaimsNoKeysThatReachOnlySomePrograms) {
    const XServer server("400x100x24");
    const Check check = await(inputCheck());
    EXPECT_FALSE(check.works);
    EXPECT_TRUE(check.what.contains(u"Wayland"_s));
    EXPECT_TRUE(check.remedy.contains(u"X11"_s));
    EXPECT_FALSE(check.remedy.contains(u"xdg-desktop-portal"_s)) << check.remedy.toStdString();
    m_portal->versions.erase(u"RemoteDesktop"_s);
    const Check more = await(inputCheck());
    EXPECT_TRUE(more.remedy.contains(u"Install xdg-desktop-portal"_s)) << more.remedy.toStdString();
}
