// What our programs say and how they end when what they print does not arrive.

#include "base/Process.h"
#include "tests/support/Processes.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class FullDevice : public testing::TestWithParam<const char *> {
protected:
    // How a command of a program ends whose output goes there.
    std::pair<int, QByteArray> endOf(const QByteArray &command, const QByteArray &output) {
        auto environment = ownEnvironment();
        environment["HOME"] = m_home.directory().toUtf8();
        for (const auto *name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME"})
            environment.erase(name);
        environment["XDG_RUNTIME_DIR"] = m_home.directory().toUtf8();
        environment["PATH"] = qgetenv("OMBRU_BIN") + ':' + qgetenv("PATH");
        environment.erase("DISPLAY");
        const auto process = Process::make({.program = u"/bin/sh"_s,
                                            .arguments = {u"-c"_s, QString::fromUtf8(command + " >" + output)},
                                            .environment = environment});
        EXPECT_TRUE(process->start());
        await(process->ended());
        return {process->status(), process->takeErrors()};
    }

    Scratch m_home;
};

} // namespace

TEST_P(FullDevice, IsAFailureWithAWord) {
    EXPECT_EQ(endOf(GetParam(), "/dev/null").first, 0) << "with room it works";
    const auto [status, errors] = endOf(GetParam(), "/dev/full");
    EXPECT_EQ(status, 1);
    EXPECT_EQ(errors.count("The output could not be written."), 1) << errors.toStdString();
}

INSTANTIATE_TEST_SUITE_P(commands, FullDevice,
                         testing::Values("ombru --help", "ombru --version", "ombru help run", "ombru run --help",
                                         "ombru settings", "ombru settings maxSteps", "ombru consent list",
                                         "ombru consent deny TextEdit", "ombru consent forget TextEdit", "ombru status",
                                         "ombru status --json", "ombru uninstall", "ombru sign-out",
                                         "ombru-menubar --version", "ombru-privacy --help", "ombru-call --help",
                                         "ombru-service --help", "osascript -e 'return 1'"));
