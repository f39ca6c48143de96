// forks-and-ends HOPS FILE: a process that will not be asked, and goes on as its own child, over and over. Makes FILE
// when it has done so as often as that. Each hop waits for a byte on the standard input, whose end ends it, and is told
// on the standard output once the parent has gone.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

int main(int argc, char **argv) {
    constexpr int MOST = 200; // for the sake of the computer
    if (argc != 3)
        return 2;
    std::signal(SIGTERM, SIG_IGN);
    char step = 0;
    for (int hops = std::min(std::atoi(argv[1]), MOST); hops > 0; --hops) {
        if (::read(STDIN_FILENO, &step, 1) != 1)
            return 1;
        const pid_t parent = ::getpid();
        if (::fork() != 0)
            ::_exit(0);
        while (::getppid() == parent)
            ::usleep(100);
        if (::write(STDOUT_FILENO, &step, 1) != 1)
            return 1;
    }
    std::ofstream(argv[2]) << '\n';
}
