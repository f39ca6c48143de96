// What counts as a program, whatever it is called and whatever its mode.
#include "platform/linux/applications/ProgramFiles.h"

#include "tests/support/Processes.h"
#include "tests/support/Variable.h"

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const QByteArray ENTRY = "[Desktop Entry]\nType=Application\nName=It\nExec=true\n";
const QByteArray ELF = QByteArray("\x7f"
                                  "ELF\x02\x01\x01",
                                  7) +
                       QByteArray(9, 0) + QByteArray("\x02\0\x3e\0", 4) + QByteArray(64, 0);

class ProgramFiles : public testing::Test {
protected:
    test::Variable system{"XDG_DATA_DIRS", "/usr/share"}; // has the types of files
    test::Scratch scratch;
};

} // namespace

TEST_F(ProgramFiles, EntriesExecutablesAndScriptsAre) {
    const std::vector<std::pair<QString, QByteArray>> programs{{u"it.desktop"_s, ENTRY},
                                                               {u"IT.DESKTOP"_s, "nothing"},
                                                               {u"notes.txt"_s, ENTRY},
                                                               {u"it"_s, "#!/bin/sh\ntrue\n"},
                                                               {u"a.txt"_s, "#!/bin/bash\nx"},
                                                               {u"a.sh"_s, "true"},
                                                               {u"a.py"_s, "print()"},
                                                               {u"picture.png"_s, ELF},
                                                               {u"b"_s, ELF},
                                                               {u"a.exe"_s, "MZ"},
                                                               {u"a.jar"_s, "PK"},
                                                               {u"a.AppImage"_s, "x"},
                                                               {u"a.pl"_s, "1;"}};
    for (const auto &[name, content] : programs)
        EXPECT_TRUE(isProgramFile(scratch.write(name, content))) << name.toStdString();
}

TEST_F(ProgramFiles, DocumentsAndFoldersAreNot) {
    for (const auto &name : {u"a.txt"_s, u"a"_s, u"a.html"_s, u"a.c"_s, u"a.md"_s, u"a.csv"_s})
        EXPECT_FALSE(isProgramFile(scratch.write(name, "text, and no more\n"))) << name.toStdString();
    EXPECT_FALSE(isProgramFile(scratch.write(u"run.txt"_s, "text\n", QFile::ExeOwner))) << "its mode says nothing";
    EXPECT_FALSE(isProgramFile(scratch.directory()));
    EXPECT_FALSE(isProgramFile(scratch.path(u"missing.desktop"_s)));
}

TEST_F(ProgramFiles, ALinkIsWhatItLeadsToAndWhatItIsCalled) {
    const auto text = scratch.write(u"a.txt"_s, "text\n");
    const auto entry = scratch.write(u"it.desktop"_s, "no head, but a name\n");
    ASSERT_TRUE(QFile::link(entry, scratch.path(u"notes.txt"_s)));
    ASSERT_TRUE(QFile::link(text, scratch.path(u"other.desktop"_s)));
    EXPECT_TRUE(isProgramFile(scratch.path(u"notes.txt"_s)));
    EXPECT_TRUE(isProgramFile(scratch.path(u"other.desktop"_s)));
}
