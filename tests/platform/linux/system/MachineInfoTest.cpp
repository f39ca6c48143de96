#include "platform/linux/system/MachineInfo.h"

#include "platform/HostInfo.h"

#include <QFile>
#include <QSysInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

// By a file with that in it.
QString nameBy(const QByteArray &written) {
    const QTemporaryDir directory;
    QFile file(directory.filePath(u"machine-info"_s));
    EXPECT_TRUE(file.open(QFile::WriteOnly));
    file.write(written);
    file.close();
    return hostNameBy(file.fileName());
}

} // namespace

TEST(MachineInfo, TheNameIsTheOneThatTheOwnerWrote) {
    EXPECT_EQ(nameBy("PRETTY_HOSTNAME=desk\n"), u"desk");
    EXPECT_EQ(nameBy("ICON_NAME=computer\nPRETTY_HOSTNAME=\"Änne's desk\"\nLOCATION=here\n"), u"Änne's desk");
    EXPECT_EQ(nameBy("PRETTY_HOSTNAME='The \"desk\"'"), u"The \"desk\"");
    EXPECT_EQ(nameBy("PRETTY_HOSTNAME=  desk  \r\n"), u"desk");
}

TEST(MachineInfo, BetweenDoubleQuotesABackslashMeansWhatAShellTakesItFor) {
    EXPECT_EQ(nameBy(R"(PRETTY_HOSTNAME="The \"big\" \\ \`one\` for \$5")"), uR"(The "big" \ `one` for $5)");
    EXPECT_EQ(nameBy(R"(PRETTY_HOSTNAME="a\nb \\\\ c\\")"), uR"(a\nb \\ c\)");
    EXPECT_EQ(nameBy(R"(PRETTY_HOSTNAME='a \" b \\')"), uR"(a \" b \\)");
}

TEST(MachineInfo, QuotesThatDoNotCloseBelongToTheName) {
    EXPECT_EQ(nameBy("PRETTY_HOSTNAME=\"desk"), u"\"desk");
    EXPECT_EQ(nameBy("PRETTY_HOSTNAME=\""), u"\"");
    EXPECT_EQ(nameBy("PRETTY_HOSTNAME=\"desk'"), u"\"desk'");
}

TEST(MachineInfo, WithoutANameItIsTheNetworks) {
    ASSERT_FALSE(QSysInfo::machineHostName().isEmpty());
    for (const auto *nothing : {"", "PRETTY_HOSTNAME=\n", "PRETTY_HOSTNAME=\"\"\n", "MY_PRETTY_HOSTNAME=x\n"})
        EXPECT_EQ(nameBy(nothing), QSysInfo::machineHostName()) << nothing;
    EXPECT_EQ(hostNameBy(u"/nonexistent/machine-info"_s), QSysInfo::machineHostName());
}

TEST(MachineInfo, ThisComputersIsBySystemdsFile) {
    EXPECT_EQ(hostName(), hostNameBy(u"/etc/machine-info"_s));
}
