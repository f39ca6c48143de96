#include "platform/SystemLog.h"

#include "platform/linux/system/Journal.h"
#include "platform/linux/system/LogFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>

#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

// A journal's receiving end.
class Journal {
public:
    explicit Journal(const QByteArray &path) : m_socket(socket(AF_UNIX, SOCK_DGRAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.constData(), path.size());
        EXPECT_EQ(bind(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    }
    ~Journal() { close(m_socket); }
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    // The fields of the next entry; it has been sent already.
    std::map<QByteArray, QByteArray> take() {
        QByteArray bytes(1 << 20, 0);
        iovec part{bytes.data(), static_cast<std::size_t>(bytes.size())};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const ssize_t size = recvmsg(m_socket, &message, MSG_DONTWAIT);
        if (size < 0)
            return {};
        const cmsghdr *header = CMSG_FIRSTHDR(&message);
        return fields(header ? memory(header) : bytes.first(size));
    }

private:
    static QByteArray memory(const cmsghdr *header) {
        int descriptor = -1;
        std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
        EXPECT_EQ(fcntl(descriptor, F_GET_SEALS), F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL);
        struct stat info{};
        fstat(descriptor, &info);
        QByteArray bytes(info.st_size, 0);
        EXPECT_EQ(pread(descriptor, bytes.data(), bytes.size(), 0), bytes.size());
        close(descriptor);
        return bytes;
    }
    static std::map<QByteArray, QByteArray> fields(QByteArray bytes) {
        std::map<QByteArray, QByteArray> result;
        while (!bytes.isEmpty()) {
            const qsizetype name = bytes.indexOf('\n');
            const auto length = qFromLittleEndian<quint64>(bytes.constData() + name + 1);
            result[bytes.first(name)] = bytes.sliced(name + 9, static_cast<qsizetype>(length));
            bytes = bytes.sliced(name + 9 + static_cast<qsizetype>(length) + 1);
        }
        return result;
    }

    int m_socket;
};

class SystemLog : public testing::Test {
protected:
    QString path(const QString &name) const { return m_directory.filePath(name); }
    bool append(const QString &text, LogLevel level = LogLevel::notice) const {
        return appendToLogFile(path(u"log"_s), level, u"com.ombru.mac"_s, u"relay"_s, text);
    }
    QByteArray contents(const QString &name) const {
        QFile file(path(u"log/"_s + name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_directory;
};

} // namespace

TEST_F(SystemLog, AnEntryReachesTheJournalWithItsFields) {
    const QByteArray socket = path(u"journal"_s).toLocal8Bit();
    Journal journal(socket);
    ASSERT_TRUE(sendToJournal(socket, LogLevel::error, u"com.ombru.mac"_s, u"relay"_s, u"✗ it broke"_s));
    const auto entry = journal.take();
    EXPECT_EQ(entry.at("MESSAGE"), "✗ it broke");
    EXPECT_EQ(entry.at("PRIORITY"), "3");
    EXPECT_EQ(entry.at("SYSLOG_IDENTIFIER"), "ombru");
    EXPECT_EQ(entry.at("OMBRU_SUBSYSTEM"), "com.ombru.mac");
    EXPECT_EQ(entry.at("OMBRU_CATEGORY"), "relay");
}

TEST_F(SystemLog, TheJournalTellsTheLevelsApart) {
    const QByteArray socket = path(u"journal"_s).toLocal8Bit();
    Journal journal(socket);
    for (const auto &[level, priority] :
         {std::pair(LogLevel::error, "3"), std::pair(LogLevel::notice, "5"), std::pair(LogLevel::debug, "7")}) {
        ASSERT_TRUE(sendToJournal(socket, level, {}, {}, u"x"_s));
        EXPECT_EQ(journal.take().at("PRIORITY"), priority);
    }
}

TEST_F(SystemLog, LineBreaksAndZerosReachTheJournalAsTheyAre) {
    const QByteArray socket = path(u"journal"_s).toLocal8Bit();
    Journal journal(socket);
    const QString text = u"one\nPRIORITY=0\n"_s + QChar(0) + u"two"_s;
    ASSERT_TRUE(sendToJournal(socket, LogLevel::notice, {}, {}, text));
    const auto entry = journal.take();
    EXPECT_EQ(entry.at("MESSAGE"), text.toUtf8());
    EXPECT_EQ(entry.at("PRIORITY"), "5");
}

TEST_F(SystemLog, FiveMegabytesReachTheJournal) {
    const QByteArray socket = path(u"journal"_s).toLocal8Bit();
    Journal journal(socket);
    const QString text(5 << 20, u'x');
    ASSERT_TRUE(sendToJournal(socket, LogLevel::debug, {}, {}, text));
    EXPECT_EQ(journal.take().at("MESSAGE"), text.toLatin1());
}

TEST_F(SystemLog, AJournalThatIsNotThereOrDoesNotKeepUpTakesNothing) {
    const QByteArray socket = path(u"journal"_s).toLocal8Bit();
    EXPECT_FALSE(sendToJournal(socket, LogLevel::notice, {}, {}, u"x"_s));
    EXPECT_FALSE(sendToJournal(QByteArray(300, 'a'), LogLevel::notice, {}, {}, u"x"_s));
    const Journal journal(socket);
    bool taken = true;
    for (int i = 0; i < 100'000 && taken; ++i)
        taken = sendToJournal(socket, LogLevel::notice, {}, {}, u"x"_s);
    EXPECT_FALSE(taken);
}

TEST_F(SystemLog, ALineOfTheFileSaysWhenHowBadAndFromWhere) {
    ASSERT_TRUE(append(u"✗ it broke"_s, LogLevel::error));
    ASSERT_TRUE(append(u"fine"_s));
    ASSERT_TRUE(append(u"detail"_s, LogLevel::debug));
    const QList<QByteArray> lines = contents(u"ombru.log"_s).split('\n');
    ASSERT_EQ(lines.size(), 4);
    EXPECT_TRUE(QDateTime::fromString(QString::fromUtf8(lines[0]).section(u' ', 0, 0), Qt::ISODateWithMs).isValid());
    EXPECT_TRUE(lines[0].endsWith(" error com.ombru.mac/relay: ✗ it broke")) << lines[0].toStdString();
    EXPECT_TRUE(lines[1].endsWith(" notice com.ombru.mac/relay: fine"));
    EXPECT_TRUE(lines[2].endsWith(" debug com.ombru.mac/relay: detail"));
}

TEST_F(SystemLog, ALineStaysOneLineWhateverTheTextHolds) {
    ASSERT_TRUE(append(u"a\nb\r\n\\n \x1b[31mred"_s + QChar(0) + u"\u2028%1 end"_s));
    const QByteArray log = contents(u"ombru.log"_s);
    EXPECT_EQ(log.count('\n'), 1);
    EXPECT_TRUE(log.endsWith(": a\\nb\\u000d\\n\\\\n \\u001b[31mred\\u0000\\u2028%1 end\n")) << log.toStdString();
}

TEST_F(SystemLog, AnEnormousTextIsCutAndSaysSo) {
    ASSERT_TRUE(append(QString(5 << 20, u'x')));
    const QByteArray log = contents(u"ombru.log"_s);
    EXPECT_LT(log.size(), 70'000);
    EXPECT_TRUE(log.endsWith("x … (5177344 more characters)\n")) << log.right(60).toStdString();
}

TEST_F(SystemLog, TheFileIsTheOwnersAlone) {
    ASSERT_TRUE(append(u"x"_s));
    struct stat info{};
    ASSERT_EQ(stat(path(u"log/ombru.log"_s).toLocal8Bit().constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
}

TEST_F(SystemLog, AFullFileMakesWayAndOnlyOneOldOneIsKept) {
    const QString text(LOG_LINE_LIMIT, u'x');
    const qint64 rounds = 3 * LOG_FILE_LIMIT / text.size();
    for (qint64 i = 0; i < rounds; ++i)
        ASSERT_TRUE(append(u"%1 "_s.arg(i) + text));
    EXPECT_EQ(QDir(path(u"log"_s)).entryList(QDir::Files), (QStringList{u"ombru.log"_s, u"ombru.log.1"_s}));
    EXPECT_LE(contents(u"ombru.log"_s).size(), LOG_FILE_LIMIT);
    EXPECT_LE(contents(u"ombru.log.1"_s).size(), LOG_FILE_LIMIT);
    EXPECT_TRUE(contents(u"ombru.log"_s).contains(": " + QByteArray::number(rounds - 1) + " "));
}

TEST_F(SystemLog, AFileThatIsMovedAwayOrRemovedIsBegunAnew) {
    ASSERT_TRUE(append(u"one"_s));
    ASSERT_TRUE(QFile::rename(path(u"log/ombru.log"_s), path(u"log/elsewhere"_s)));
    ASSERT_TRUE(append(u"two"_s));
    EXPECT_TRUE(contents(u"ombru.log"_s).endsWith("relay: two\n"));
    EXPECT_TRUE(contents(u"elsewhere"_s).endsWith("relay: one\n"));
    ASSERT_TRUE(QDir(path(u"log"_s)).removeRecursively());
    ASSERT_TRUE(append(u"three"_s));
    EXPECT_TRUE(contents(u"ombru.log"_s).endsWith("relay: three\n"));
}

TEST_F(SystemLog, ALinkInTheFilesPlaceIsNotFollowed) {
    ASSERT_TRUE(append(u"one"_s));
    ASSERT_TRUE(QFile::rename(path(u"log/ombru.log"_s), path(u"log/elsewhere"_s)));
    ASSERT_TRUE(QFile::link(path(u"log/elsewhere"_s), path(u"log/ombru.log"_s)));
    EXPECT_FALSE(append(u"two"_s));
    EXPECT_EQ(contents(u"elsewhere"_s).count('\n'), 1);
}

TEST_F(SystemLog, SeveralWritersKeepTheirLinesWhole) {
    constexpr int LINES = 400;
    const QString text(20'000, u'y'); // enough to rotate on the way
    std::vector<std::thread> writers;
    for (int i = 0; i < 4; ++i)
        writers.emplace_back([&] {
            for (int line = 0; line < LINES; ++line)
                append(text);
        });
    for (auto &writer : writers)
        writer.join();
    for (const QString &name : {u"ombru.log"_s, u"ombru.log.1"_s}) {
        for (const QByteArray &line : contents(name).split('\n')) {
            if (!line.isEmpty())
                EXPECT_TRUE(line.endsWith("relay: " + text.toLatin1())) << line.size();
        }
    }
}

TEST_F(SystemLog, WhatCannotBeWrittenBreaksNothing) {
    QFile file(path(u"log"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_FALSE(append(u"x"_s));
    EXPECT_FALSE(appendToLogFile(u"/proc/nowhere"_s, LogLevel::error, {}, {}, u"x"_s));
}

TEST_F(SystemLog, TheDirectoryFollowsTheStateHome) {
    qputenv("XDG_STATE_HOME", "/somewhere/state");
    EXPECT_EQ(logDirectory(), u"/somewhere/state/ombru"_s);
    qputenv("XDG_STATE_HOME", "relative");
    EXPECT_EQ(logDirectory(), QDir::homePath() + u"/.local/state/ombru"_s);
    qunsetenv("XDG_STATE_HOME");
    EXPECT_EQ(logDirectory(), QDir::homePath() + u"/.local/state/ombru"_s);
}

TEST_F(SystemLog, WithoutAJournalTheLoggerWritesTheFile) {
    if (QFile::exists(QString::fromLatin1(JOURNAL_SOCKET))) {
        logger::debug(u"the journal of this computer takes this line of a test"_s);
        return;
    }
    qputenv("XDG_STATE_HOME", m_directory.path().toLocal8Bit());
    logger::error(u"told"_s);
    qunsetenv("XDG_STATE_HOME");
    QFile log(path(u"ombru/ombru.log"_s));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    EXPECT_TRUE(log.readAll().endsWith(" error com.ombru.mac/relay: told\n"));
}
