#include "net/HttpClient.h"

#include "base/SerialQueue.h"
#include "base/Wake.h"
#include "net/HttpProgram.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <future>
#include <map>
#include <mutex>
#include <poll.h>
#include <thread>
#include <vector>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

using Moment = std::chrono::steady_clock::time_point;

// Past a request's limit, which the program sees to: one that says nothing by then does not work.
constexpr std::chrono::seconds PATIENCE(5);

Failure failed(const QString &why, int code = 0) {
    return {u"http"_s, code, why};
}

Failure givenUp() {
    return failed(u"The request was given up."_s);
}

http::Packet packetOf(const HttpRequest &request, std::uint64_t number) {
    http::Packet packet{.what = http::What::begin,
                        .request = number,
                        .number = request.limit.count(),
                        .lines = {request.url.toStdString(), QFile::encodeName(request.authority).toStdString()}};
    for (const auto &header : request.headers)
        packet.lines.push_back(header.toStdString());
    if (request.body)
        packet.body = request.body->toStdString();
    return packet;
}

Result<HttpReply> outcomeOf(const http::Packet &packet) {
    const auto number = static_cast<int>(packet.number);
    if (packet.what == http::What::reply && packet.body)
        return HttpReply{number, QByteArray::fromStdString(*packet.body)};
    const bool isFailure = packet.what == http::What::failure && packet.lines.size() == 1;
    return std::unexpected(isFailure ? failed(QString::fromStdString(packet.lines[0]), number)
                                     : HttpProgram::unreadable());
}

// What is under way, and the thread that sees to it, which is there as long as the program is.
class Requests {
public:
    ~Requests() {
        {
            const std::lock_guard lock(m_mutex);
            m_ending = true;
        }
        m_wake.ring();
        if (m_thread.joinable())
            m_thread.join();
    }

    bool canBeWoken() const { return m_wake.isOpen(); }

    struct New {
        HttpRequest request;
        std::stop_token stop;
        HttpTold told;
        QString program; // that makes it, if none runs
    };
    void add(New request) {
        const std::lock_guard lock(m_mutex);
        m_new.push_back(std::move(request));
        m_wake.ring();
        if (std::exchange(m_runs, true))
            return;
        if (m_thread.joinable())
            m_thread.join(); // it does nothing any more
        m_thread = std::thread([this] { run(); });
    }

private:
    struct Waiting {
        Waiting(New begun, Wake &wake)
            : told(std::move(begun.told)), kept(begun.request.kept),
              deadline(std::chrono::steady_clock::now() + begun.request.limit + PATIENCE), stop(begun.stop),
              onStop(begun.stop, Ring{wake}) {}
        HttpTold told;
        std::chrono::milliseconds kept;
        Moment deadline;
        std::stop_token stop;
        struct Ring {
            Wake &wake;
            void operator()() const { wake.ring(); }
        };
        std::stop_callback<Ring> onStop;
    };

    void run() {
        std::vector<New> begun;
        while (takeNew(begun)) {
            if (m_program) // it may have ended while it was kept
                see();
            for (auto &each : begun)
                begin(std::move(each));
            if (m_program)
                see();
            if (m_program)
                awaitSomething();
        }
        for (auto &each : begun)
            each.told(std::unexpected(givenUp()));
        endProgram(givenUp());
    }

    // Whether there is anything to do. At the end of all there is not, but perhaps somebody to be told.
    bool takeNew(std::vector<New> &begun) {
        const std::lock_guard lock(m_mutex);
        m_runs = !m_ending && (m_program || !m_new.empty());
        begun = std::exchange(m_new, {});
        return m_runs;
    }

    void begin(New begun) {
        if (begun.stop.stop_requested())
            return begun.told(std::unexpected(givenUp()));
        if (!m_program) {
            auto started = HttpProgram::start(begun.program);
            if (!started)
                return begun.told(std::unexpected(started.error()));
            m_program = std::move(*started);
            m_keptUntil = {};
        }
        m_program->tell(packetOf(begun.request, ++m_last));
        m_waiting.try_emplace(m_last, std::move(begun), m_wake);
    }

    // What has come is looked at first: it may have waited for this process, which was stopped meanwhile.
    void see() {
        m_program->send();
        std::vector<http::Packet> packets;
        const auto heard = m_program->receive(packets);
        for (const auto &packet : packets)
            tell(packet);
        if (!heard)
            return endProgram(heard.error());
        giveUp();
        m_program->send();
        const auto now = std::chrono::steady_clock::now();
        if (m_waiting.empty() ? m_keptUntil <= now : deadline() <= now)
            endProgram(HttpProgram::silent());
    }

    void tell(const http::Packet &packet) {
        const auto each = m_waiting.extract(packet.request);
        if (!each) // it was given up meanwhile
            return;
        m_keptUntil = std::max(m_keptUntil, std::chrono::steady_clock::now() + each.mapped().kept);
        each.mapped().told(outcomeOf(packet));
    }

    void giveUp() {
        for (auto next = m_waiting.begin(); next != m_waiting.end();) {
            const auto each = next++;
            if (!each->second.stop.stop_requested())
                continue;
            m_program->tell({.what = http::What::giveUp, .request = each->first});
            m_waiting.extract(each).mapped().told(std::unexpected(givenUp()));
        }
    }

    void endProgram(const Failure &why) {
        m_program.reset();
        for (auto &each : std::exchange(m_waiting, {}))
            each.second.told(std::unexpected(why));
    }

    Moment deadline() const {
        const auto of = [](const auto &each) { return each.second.deadline; };
        return of(*std::ranges::min_element(m_waiting, {}, of));
    }

    void awaitSomething() {
        const auto until = m_waiting.empty() ? m_keptUntil : deadline();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
        const int out = m_program->hasUnsent() ? POLLOUT : 0;
        std::array<pollfd, 2> watched{
            {{.fd = m_wake.descriptor(), .events = POLLIN, .revents = 0},
             {.fd = m_program->descriptor(), .events = static_cast<short>(POLLIN | out), .revents = 0}}};
        ::poll(watched.data(), watched.size(), std::max(0, static_cast<int>(left.count())));
        m_wake.clear();
    }

    Wake m_wake;

    // The thread's.
    std::unique_ptr<HttpProgram> m_program;
    std::map<std::uint64_t, Waiting> m_waiting; // by the numbers of their requests; only while the program runs
    std::uint64_t m_last = 0;
    Moment m_keptUntil;

    std::mutex m_mutex; // guards the rest
    std::vector<New> m_new;
    bool m_runs = false; // the thread
    bool m_ending = false;
    std::thread m_thread; // last: it uses the others
};

std::mutex mutex; // guards the rest
std::unique_ptr<Requests> requests;
std::string httpProgram; // no text that threads would share
bool ended = false;

// What is told meanwhile may ask for more, in vain.
void end() {
    std::unique_ptr<Requests> last;
    {
        const std::lock_guard lock(mutex);
        ended = true;
        last.swap(requests);
    }
}

void prepare() {
    SerialQueue::endAfterwards(); // who is told at the end may post to a queue
    auto made = std::make_unique<Requests>();
    if (!made->canBeWoken()) // there may be descriptors again next time
        return;
    requests = std::move(made);
    qAddPostRoutine(end);
}

QString ownProgram() {
    return QCoreApplication::applicationDirPath() + u"/ombru-http"_s;
}

} // namespace

void setHttpProgram(const QString &program) {
    const std::lock_guard lock(mutex);
    httpProgram = program.toStdString();
}

void exchangeLater(HttpRequest request, std::stop_token stop, HttpTold told) {
    bool wasEnded = false;
    {
        const std::lock_guard lock(mutex);
        if (!requests && !ended)
            prepare();
        if (requests)
            return requests->add({std::move(request), std::move(stop), std::move(told),
                                  httpProgram.empty() ? ownProgram() : QString::fromStdString(httpProgram)});
        wasEnded = ended;
    }
    told(std::unexpected(wasEnded ? givenUp() : failed(u"Too many files are open to make a request."_s)));
}

Result<HttpReply> exchange(HttpRequest request, std::stop_token stop) {
    std::promise<Result<HttpReply>> promise;
    auto reply = promise.get_future();
    exchangeLater(std::move(request), std::move(stop), [promise = std::move(promise)](Result<HttpReply> told) mutable {
        promise.set_value(std::move(told));
    });
    return reply.get();
}

} // namespace ombru
