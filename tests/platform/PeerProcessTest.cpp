// Who is at the other end, and for whom it works.
#include "platform/PeerProcess.h"

#include "base/Descriptor.h"
#include "base/Process.h"
#include "tests/support/Processes.h"

#include <array>
#include <sys/socket.h>
#include <unistd.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

// A shell under another name, that runs "echo $$ >pid; sleep" in a shell of its own.
std::shared_ptr<Process> sleepBelow(const Scratch &scratch, const QString &name) {
    EXPECT_TRUE(QFile::copy(u"/bin/sh"_s, scratch.path(name)));
    auto process = Process::make({.program = scratch.path(name),
                                  .arguments = {u"-c"_s, u"sh -c 'echo $$ >pid; exec sleep 1000'; true"_s},
                                  .directory = scratch.directory()});
    EXPECT_TRUE(process->start());
    return process;
}

} // namespace

TEST(PeerProcess, IsTheOneThatMadeTheConnection) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    const Descriptor one(ends[0]);
    const Descriptor other(ends[1]);
    const auto peer = peerOf(one.number());
    ASSERT_TRUE(peer);
    EXPECT_EQ(peer->process, ::getpid());
    EXPECT_TRUE(peer->isOwner);
    EXPECT_FALSE(peerOf(-1));
}

TEST(PeerProcess, AScriptHasWhateverIsBelowItRun) {
    for (const auto &name : {u"osascript"_s, u"ombru"_s}) {
        const Scratch scratch;
        const auto process = sleepBelow(scratch, name);
        const auto below = pidIn(scratch.path(u"pid"_s));
        EXPECT_TRUE(servesAScript(below)) << name.toStdString();
        process->terminate();
        await(process->ended());
        EXPECT_TRUE(waitUntil([&] { return !isAlive(below); }));
        EXPECT_TRUE(servesAScript(below)) << "nobody can tell any more";
    }
}

TEST(PeerProcess, AnyOtherProgramServesNoScript) {
    const Scratch scratch;
    const auto process = sleepBelow(scratch, u"editor"_s);
    EXPECT_FALSE(servesAScript(pidIn(scratch.path(u"pid"_s))));
    EXPECT_FALSE(servesAScript());
    process->terminate();
    await(process->ended());
}
