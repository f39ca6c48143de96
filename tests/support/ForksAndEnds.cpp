// forks-and-ends HOPS FILE: a process that will not be asked, and goes on as its own child, over and over. Makes FILE
// when it has done so as often as that.
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

int main(int argc, char **argv) {
    constexpr useconds_t PAUSE = 200; // microseconds
    if (argc != 3)
        return 2;
    std::signal(SIGTERM, SIG_IGN);
    for (int hops = std::atoi(argv[1]); hops > 0; --hops) {
        ::usleep(PAUSE);
        if (::fork() != 0)
            ::_exit(0);
    }
    std::ofstream(argv[2]) << '\n';
}
