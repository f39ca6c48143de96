// ombru-http: makes the requests of the program that has started it, any number of them side by side, and ends as soon
// as that one hangs up or is gone. How it is talked to: net/HttpWire.h. What goes out with a request, such as a token,
// comes by that socket only. A program of its own, because the library and what comes with it would cost memory where
// requests are rare; without framework, because it is started for most of them.
#include "base/OpenFiles.h"
#include "base/Program.h"
#include "http/HttpTransfer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <sys/socket.h>
#include <unistd.h>

namespace ombru::http {
namespace {

constexpr int LONGEST_SLEEP = 60'000; // milliseconds; the library wakes up earlier for what it has to do
constexpr std::size_t CHUNK = 65'536;

bool mayComeLater() {
    return errno == EAGAIN || errno == EINTR;
}

class Exchanges {
public:
    Exchanges() : m_multi(curl_multi_init(), curl_multi_cleanup) {}
    ~Exchanges() {
        for (const auto &each : m_transfers)
            curl_multi_remove_handle(m_multi.get(), each.second->handle());
    }

    // Until nobody is at the other end, or says what cannot be understood: then false.
    bool run() {
        while (true) {
            awaitSomething();
            if (!receive())
                return !m_garbage;
            int running = 0;
            curl_multi_perform(m_multi.get(), &running);
            tellOutcomes();
            if (!send())
                return true;
        }
    }

private:
    void awaitSomething() {
        const int wanted = CURL_WAIT_POLLIN | (m_unsent.empty() ? 0 : CURL_WAIT_POLLOUT);
        curl_waitfd other{.fd = STDIN_FILENO, .events = static_cast<short>(wanted), .revents = 0};
        curl_multi_poll(m_multi.get(), &other, 1, LONGEST_SLEEP, nullptr);
    }

    // Whether more may come.
    bool receive() {
        std::array<char, CHUNK> bytes;
        while (true) {
            const auto got = ::read(STDIN_FILENO, bytes.data(), bytes.size());
            if (got < 0 && mayComeLater())
                return true;
            if (got <= 0)
                return false;
            m_reader.append({bytes.data(), static_cast<std::size_t>(got)});
            if (!obey())
                return false;
        }
    }

    bool obey() {
        auto packet = m_reader.next();
        for (; packet && *packet; packet = m_reader.next()) {
            const auto number = (*packet)->request;
            if ((*packet)->what == What::giveUp)
                drop(number);
            else if ((*packet)->what == What::begin && (*packet)->lines.size() >= 2 && !m_transfers.contains(number))
                begin(std::move(**packet));
            else
                packet = std::unexpected(PacketReader::Garbage{});
        }
        m_garbage = !packet;
        return !m_garbage;
    }

    void begin(Packet packet) {
        const auto number = packet.request;
        const auto &transfer = m_transfers[number] = std::make_unique<HttpTransfer>(std::move(packet));
        curl_multi_add_handle(m_multi.get(), transfer->handle());
    }

    void drop(std::uint64_t number) {
        const auto place = m_transfers.find(number);
        if (place == m_transfers.end()) // the reply is on its way
            return;
        curl_multi_remove_handle(m_multi.get(), place->second->handle());
        m_transfers.erase(place);
    }

    void tellOutcomes() {
        int left = 0;
        while (const auto *message = curl_multi_info_read(m_multi.get(), &left)) {
            if (message->msg != CURLMSG_DONE)
                continue;
            const auto place = std::ranges::find_if(
                m_transfers, [message](const auto &each) { return each.second->handle() == message->easy_handle; });
            append(place->second->outcome(message->data.result), m_unsent);
            drop(place->first);
        }
    }

    // Whether anybody still listens.
    bool send() {
        while (m_gone < m_unsent.size()) {
            const auto put = ::write(STDOUT_FILENO, m_unsent.data() + m_gone, m_unsent.size() - m_gone);
            if (put < 0)
                return mayComeLater();
            m_gone += static_cast<std::size_t>(put);
        }
        m_unsent.clear();
        m_gone = 0;
        return true;
    }

    const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> m_multi;
    std::map<std::uint64_t, std::unique_ptr<HttpTransfer>> m_transfers; // by their numbers
    PacketReader m_reader;
    std::string m_unsent;
    std::size_t m_gone = 0; // bytes of that
    bool m_garbage = false;
};

bool isSocket(int number) {
    int type = 0;
    socklen_t size = sizeof type;
    return ::getsockopt(number, SOL_SOCKET, SO_TYPE, &type, &size) == 0;
}

} // namespace
} // namespace ombru::http

int main() {
    ombru::beginProgram();
    if (!ombru::http::isSocket(STDIN_FILENO) || !ombru::http::isSocket(STDOUT_FILENO)) {
        std::fputs("ombru-http: makes requests for ombru, which starts it by itself.\n", stderr);
        return 1;
    }
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO})
        ::fcntl(stream, F_SETFL, O_NONBLOCK);
    ombru::allowManyFiles();
    curl_global_init(CURL_GLOBAL_DEFAULT);
    const bool understood = ombru::http::Exchanges().run();
    std::_Exit(understood ? 0 : 1); // the libraries' own ends take longer than a request does
}
