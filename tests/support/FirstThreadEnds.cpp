// first-thread-ends FILE: writes its process's number to FILE, and goes on in a second thread alone. The system then
// shows it as it shows one that has ended.
#include <fstream>
#include <pthread.h>
#include <thread>
#include <unistd.h>

int main(int argc, char **argv) {
    if (argc != 2)
        return 2;
    const pthread_t first = ::pthread_self();
    std::thread([first, file = argv[1]] {
        ::pthread_join(first, nullptr);
        std::ofstream(file) << ::getpid() << '\n';
        ::pause();
    }).detach();
    ::pthread_exit(nullptr);
}
