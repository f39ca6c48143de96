// What the owner of the whole program hears of a claude tool that is there and does not work.

#include "tests/app/Journey.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class BrokenClaude : public Journey {
protected:
    BrokenClaude() { m_environment["SHELL"] = "/bin/sh"; }

    // The tool is this file; each command is to say that about it.
    void expectSaid(const QByteArray &file, const QString &trouble, QFile::Permissions more = QFile::ExeOwner) {
        QFile::remove(claude());
        m_scratch.write(u".local/bin/claude"_s, file, more);
        for (const auto &command : {u"doctor"_s, u"test-claude"_s, u"run"_s}) {
            const auto told = end(
                startProgram(u"ombru"_s, command == u"run"_s ? QStringList{command, u"go"_s} : QStringList{command}));
            EXPECT_EQ(told.status, 1);
            EXPECT_TRUE(told.out.contains(trouble)) << command.toStdString() << ":\n" << told.out.toStdString();
            EXPECT_FALSE(told.out.contains(u"too old"_s)) << told.out.toStdString();
        }
    }
};

} // namespace

TEST_F(BrokenClaude, NotExecutable) {
    expectSaid("#!/bin/sh\n", u"%1 may not be executed. `chmod +x %1` allows it."_s.arg(claude()), {});
}

TEST_F(BrokenClaude, WithoutItsInterpreter) {
    expectSaid("#!/usr/bin/env no-such-node\n", u"needs no-such-node, which is not found."_s);
    expectSaid("#!/no/such/node\n", u"needs /no/such/node, which is not found."_s);
}

TEST_F(BrokenClaude, PrintingGarbage) {
    expectSaid("#!/bin/sh\necho garbage\n", u"printed “garbage” instead of "_s);
}

TEST_F(BrokenClaude, EndedByASignal) {
    expectSaid("#!/bin/sh\nkill -KILL $$\n", u"was ended by signal 9: something killed it"_s);
}

TEST_F(BrokenClaude, CutOffInItsReply) {
    QFile::remove(claude());
    m_scratch.write(u".local/bin/claude"_s,
                    "#!/bin/sh\nprintf '{\"result\": \"'; head -c 1500000 /dev/zero | tr '\\0' x\n", QFile::ExeOwner);
    const auto task = run({u"go"_s});
    EXPECT_EQ(task.status, 1);
    EXPECT_TRUE(task.out.contains(u"the reply was cut off after 1501 kB"_s)) << task.out.right(600).toStdString();
}
