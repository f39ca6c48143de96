// A sound server that hangs.

#include "platform/linux/sound/MonitorRecording.h"

#include "tests/support/SoundServer.h"
#include "tests/support/Wait.h"

#include <atomic>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

TEST(MonitorRecording, AServerThatDoesNotAnswerIsGivenUp) {
    const QTemporaryDir directory;
    const SoundServer server(directory);
    server.signal(SIGSTOP);
    const auto told = std::make_shared<std::atomic<int>>(0);
    {
        MonitorRecording recording(*PulseLibrary::get(), 8000,
                                   {.onSound = [told](auto) { ++*told; }, .onStop = [told](const auto &) { ++*told; }});
        EXPECT_EQ(recording.begin(200ms),
                  std::unexpected(Failure{u"audio"_s, PA_ERR_TIMEOUT, u"The sound server does not answer."_s}));
    }
    server.signal(SIGCONT);
    EXPECT_EQ(*told, 0);
    MonitorRecording recording(*PulseLibrary::get(), 8000,
                               {.onSound = [told](auto) { ++*told; }, .onStop = [told](const auto &) { ++*told; }});
    EXPECT_TRUE(recording.begin(1min));
    EXPECT_TRUE(waitUntil([&] { return *told > 0; }));
}
