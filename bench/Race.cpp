#include "bench/Race.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace ombru::bench {
namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(const std::function<void()> &run) {
    const auto start = Clock::now();
    run();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct Times {
    double fastest;
    double median;
};

Times summed(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return {times.front(), times[times.size() / 2]};
}

} // namespace

void race(const std::string &title, int rounds, const std::vector<Contestant> &contestants) {
    for (const Contestant &contestant : contestants)
        contestant.run();
    std::vector<std::vector<double>> times(contestants.size());
    for (int round = 0; round < rounds; ++round)
        for (std::size_t i = 0; i < contestants.size(); ++i)
            times[i].push_back(milliseconds(contestants[i].run));
    const Times ours = summed(times[0]);
    std::printf("\n### %s\n\n", title.c_str());
    std::printf("| ours against | times as fast | (medians) | aim | ours, ms | theirs, ms |\n");
    std::printf("|---|---:|---:|---:|---:|---:|\n");
    for (std::size_t i = 1; i < contestants.size(); ++i) {
        const Times theirs = summed(times[i]);
        char aim[32] = "";
        if (contestants[i].aim > 0)
            std::snprintf(aim, sizeof aim, "%.1f", contestants[i].aim);
        std::printf("| %s | **%.2f** | %.2f | %s | %.2f (%.2f) | %.2f (%.2f) |\n", contestants[i].name.c_str(),
                    theirs.fastest / ours.fastest, theirs.median / ours.median, aim, ours.fastest, ours.median,
                    theirs.fastest, theirs.median);
    }
    std::fflush(stdout);
}

void fail(const std::string &what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(1);
}

} // namespace ombru::bench
