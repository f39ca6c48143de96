// The least that a server of calls can do: it gives texts back, and has a system timer a call, whose sound was made
// once. Usage: bench-least-server
#include "bench/Least.h"
#include "bench/Served.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>

using namespace ombru;

namespace {

class Server : public bench::Least {
    struct Caller : Peer {
        using Peer::Peer;
        Descriptor timer;
        bool echoes = false;
        QByteArray sound;
    };
    static Caller &callerOf(Peer &peer) { return static_cast<Caller &>(peer); }

    std::shared_ptr<Peer> made(int number) const override { return std::make_shared<Caller>(number); }

    void opened(Peer &peer, QByteArrayView request) override {
        callerOf(peer).echoes = !request.startsWith("GET /media");
    }

    void gone(Peer &peer) override {
        if (const auto &timer = callerOf(peer).timer; timer.isOpen())
            at(timer.number()).reset();
    }

    void take(Peer &peer, const FrameHead &head, QByteArrayView text) override {
        auto &caller = callerOf(peer);
        if (caller.echoes)
            m_reply.append(WrittenHead(head.opcode, head.length)).append(text);
        else if (!caller.timer.isOpen() && text.contains(R"("event":"start")"))
            start(caller, text);
    }

    void start(Caller &caller, QByteArrayView text) {
        const auto text160 = R"({"event":"media","streamSid":")" + text.sliced(text.indexOf("MZ"), 34).toByteArray() +
                             R"(","media":{"payload":")" + QByteArray(160, '\x7f').toBase64() + R"("}})";
        caller.sound =
            QByteArrayView(WrittenHead(Opcode::text, static_cast<std::uint64_t>(text160.size()))).toByteArray() +
            text160;
        caller.timer = Descriptor(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK));
        const itimerspec beats{{0, 20'000'000}, {0, 20'000'000}};
        ::timerfd_settime(caller.timer.number(), 0, &beats, nullptr);
        const auto self = at(caller.socket.number());
        at(caller.timer.number()) = self;
        watch(caller.timer, EPOLLIN, EPOLL_CTL_ADD);
    }

    void woken(const std::shared_ptr<Peer> &peer, int number) override {
        std::uint64_t due = 0;
        if (::read(number, &due, sizeof due) == sizeof due)
            for (; due > 0; --due)
                send(*peer, callerOf(*peer).sound);
    }
};

} // namespace

int main() {
    bench::raiseDescriptorLimit();
    std::make_unique<Server>()->run();
}
