// What the owner of the whole program hears when there is no picture of the screen: the cause, and what to do.

#include "tests/app/Journey.h"
#include "tests/support/XServer.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

// An authority file as the server and its programs read it, with one key.
QByteArray authorityOf(char key) {
    const auto counted = [](const QByteArray &bytes) { return QByteArray(1, '\0') + char(bytes.size()) + bytes; };
    return "\xff\xff" + counted({}) + counted({}) + counted("MIT-MAGIC-COOKIE-1") + counted(QByteArray(16, key));
}

class NoPicture : public Journey {
protected:
    void expectCause(const QString &cause) {
        const auto task = run({u"go"_s});
        EXPECT_EQ(task.status, 1);
        const auto fixed = u"✗ screenshot failed — give ombru Screen Recording permission (System Settings → Privacy & "
                           u"Security)\n"_s;
        const auto at = task.out.indexOf(fixed);
        ASSERT_GE(at, 0) << task.out.toStdString();
        const auto next = task.out.sliced(at + fixed.size()).section(u'\n', 0, 0);
        EXPECT_TRUE(next.contains(cause)) << next.toStdString();
    }
    Finished doctor() { return end(startProgram(u"ombru"_s, {u"doctor"_s})); }
    void useDisplay() { m_environment["DISPLAY"] = qgetenv("DISPLAY"); }
    // A server that wants a key which the owner does not have.
    XServer shutServer() {
        return XServer("640x480x24", {"-auth", m_scratch.write(u"server.key"_s, authorityOf('s')).toUtf8()});
    }
};

} // namespace

TEST_F(NoPicture, WithoutADisplay) {
    m_environment.erase("DISPLAY");
    expectCause(u"DISPLAY is not set. Run this inside a desktop session."_s);
}

TEST_F(NoPicture, OnADisplayThatIsNotThere) {
    m_environment["DISPLAY"] = ":65000";
    expectCause(u"The display \":65000\" does not answer: there is no X server for it."_s);
    m_environment["DISPLAY"] = "nonsense";
    expectCause(u"DISPLAY is no name of a display"_s);
}

TEST_F(NoPicture, OnAScreenThatIsNotThere) {
    m_environment["DISPLAY"] = qgetenv("DISPLAY") + ".7";
    expectCause(u"has no screen 7"_s);
}

TEST_F(NoPicture, OnADisplayWhoseServerWasKilled) {
    XServer server("640x480x24");
    useDisplay();
    server.end(SIGKILL);
    expectCause(u"there is no X server for it"_s);
}

TEST_F(NoPicture, WithoutTrueColours) {
    const XServer server("640x480x8");
    useDisplay();
    expectCause(u"without true colours; use one with 16 bits or more."_s);
}

TEST_F(NoPicture, WhereItsFileCannotBeKept) {
    m_environment["XDG_DATA_HOME"] = "/proc/self";
    expectCause(u"Its file could not be kept: cannot make /proc/self/ombru/screenshots: "_s);
}

TEST_F(NoPicture, DoctorAnswersWhereTheServerHangs) {
    const XServer server("640x480x24");
    useDisplay();
    server.signal(SIGSTOP);
    const auto looked = doctor();
    EXPECT_EQ(looked.status, 1);
    EXPECT_EQ(looked.out.count(u"does not answer"_s), 1) << looked.out.toStdString();
    EXPECT_TRUE(looked.out.contains(u"✗ input             it needs that display, too\n"_s)) << looked.out.toStdString();
    EXPECT_TRUE(looked.out.contains(u"✓ osascript"_s)) << "the rest is looked at: " << looked.out.toStdString();
}

TEST_F(NoPicture, ALogThatCannotBeKeptIsSaidOnce) {
    m_environment.erase("DISPLAY");
    m_environment["XDG_STATE_HOME"] = "/proc/self";
    const bool journal = QFile::exists(u"/run/systemd/journal/socket"_s); // which has the log then
    EXPECT_EQ(run({u"go"_s}).out.count(u"The log could not be kept in /proc/self/ombru."_s), journal ? 0 : 1);
}

TEST_F(NoPicture, WithoutAuthorityItIsSaidOnce) {
    const auto server = shutServer();
    useDisplay();
    m_environment["XAUTHORITY"] = "/nonexistent";
    expectCause(u"does not let this program in (Authorization required"_s);
    EXPECT_EQ(run({u"go"_s}).out.count(u"uthorization required"_s), 1) << "the library says it, too";
    const auto looked = doctor();
    EXPECT_EQ(looked.status, 1);
    EXPECT_EQ(looked.out.count(u"uthorization required"_s), 1) << looked.out.toStdString();
}

TEST_F(NoPicture, WithAnothersAuthorityTheLibrarySaysItOnce) {
    const auto server = shutServer();
    useDisplay();
    m_environment["XAUTHORITY"] = m_scratch.write(u"other.key"_s, authorityOf('o')).toUtf8();
    expectCause(u"does not let this program in"_s);
    EXPECT_EQ(doctor().out.count(u"Invalid MIT-MAGIC-COOKIE-1 key"_s), 1);
}
