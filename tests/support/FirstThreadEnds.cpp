// first-thread-ends FILE: writes its process's number to FILE, and goes on in a second thread alone. The system then
// shows it as it shows one that has ended.
#include <fstream>
#include <pthread.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

bool firstHasEnded() {
    std::ifstream file("/proc/self/stat");
    std::string line;
    std::getline(file, line);
    return line.contains(") Z ");
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2)
        return 2;
    std::thread([file = argv[1]] {
        while (!firstHasEnded())
            ::usleep(1000);
        std::ofstream(file) << ::getpid() << '\n';
        ::pause();
    }).detach();
    ::pthread_exit(nullptr);
}
