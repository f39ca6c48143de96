// The least that a service can do: what a computer tells on /agent/NUMBER is appended to a file, a line each, and
// passed on to who watches it on /live/NUMBER. Usage: bench-least-relay FILE
#include "bench/Least.h"
#include "bench/Race.h"
#include "bench/Served.h"

#include <fcntl.h>
#include <sys/uio.h>

using namespace ombru;

namespace {

class Relay : public bench::Least {
public:
    explicit Relay(const char *file) : m_file(::open(file, O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600)) {
        if (!m_file.isOpen())
            bench::fail("the relay cannot keep anything");
    }

private:
    struct Party : Peer {
        using Peer::Peer;
        std::size_t computer = 0;
        bool watches = false;
    };
    static Party &partyOf(Peer &peer) { return static_cast<Party &>(peer); }

    std::shared_ptr<Peer> made(int number) const override { return std::make_shared<Party>(number); }

    void opened(Peer &peer, QByteArrayView request) override {
        auto &party = partyOf(peer);
        const auto path = request.first(request.indexOf(" HTTP")).toByteArray();
        party.computer = path.sliced(path.lastIndexOf('/') + 1).toULongLong();
        party.watches = path.contains("/live/");
        if (m_watchers.size() <= party.computer)
            m_watchers.resize(party.computer + 1);
        if (party.watches)
            m_watchers[party.computer].push_back(&party);
    }

    void gone(Peer &peer) override {
        auto &party = partyOf(peer);
        if (party.watches)
            std::erase(m_watchers[party.computer], &party);
    }

    void take(Peer &peer, const FrameHead &head, QByteArrayView text) override {
        char end = '\n';
        const std::array parts{iovec{const_cast<char *>(text.data()), static_cast<std::size_t>(text.size())},
                               iovec{&end, 1}};
        if (::writev(m_file.number(), parts.data(), int(parts.size())) != text.size() + 1)
            bench::fail("the relay could not keep a line");
        const auto &watchers = m_watchers[partyOf(peer).computer];
        if (watchers.empty())
            return;
        m_frame.resize(0);
        m_frame.append(WrittenHead(head.opcode, head.length)).append(text);
        for (auto *watcher : watchers)
            send(*watcher, m_frame);
    }

    const Descriptor m_file;
    std::vector<std::vector<Party *>> m_watchers; // of each computer
    QByteArray m_frame;
};

} // namespace

int main(int argc, char **argv) {
    if (argc != 2)
        bench::fail("bench-least-relay FILE");
    bench::raiseDescriptorLimit();
    std::make_unique<Relay>(argv[1])->run();
}
