#include "net/HttpClient.h"

#include "net/HttpTransfer.h"

#include <QCoreApplication>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int LONGEST_SLEEP = 60'000; // milliseconds; the library wakes up earlier for what it has to do

Failure givenUp() {
    return {u"http"_s, CURLE_ABORTED_BY_CALLBACK, u"The request was given up."_s};
}

// What is under way, and the thread that sees to it. Each transfer looks for its stop itself whenever the thread wakes.
class Transfers {
public:
    Transfers() : m_multi(curl_multi_init(), curl_multi_cleanup), m_thread([this] { run(); }) {}
    ~Transfers() {
        m_ending = true;
        wake();
        m_thread.join();
    }

    void add(HttpRequest request, std::stop_token stop, HttpTold told) {
        {
            const std::lock_guard lock(m_mutex);
            m_new.push_back({std::move(request), std::move(stop), std::move(told)});
        }
        wake();
    }

private:
    struct New {
        HttpRequest request;
        std::stop_token stop;
        HttpTold told;
    };
    struct Waiting {
        Waiting(New begun, const Transfers &all)
            : transfer(std::move(begun.request), begun.stop), told(std::move(begun.told)),
              onStop(begun.stop, Wake{all}) {}
        HttpTransfer transfer;
        HttpTold told;
        struct Wake {
            const Transfers &all;
            void operator()() const { all.wake(); }
        };
        std::stop_callback<Wake> onStop;
    };
    using Each = std::unique_ptr<Waiting>;

    void wake() const { curl_multi_wakeup(m_multi.get()); }

    void run() {
        while (!m_ending) {
            begin();
            int running = 0;
            curl_multi_perform(m_multi.get(), &running);
            tellOutcomes();
            curl_multi_poll(m_multi.get(), nullptr, 0, LONGEST_SLEEP, nullptr);
        }
        begin();
        while (!m_waiting.empty())
            tell(m_waiting.back()->transfer.handle(), std::unexpected(givenUp()));
    }

    void begin() {
        std::vector<New> begun;
        {
            const std::lock_guard lock(m_mutex);
            begun.swap(m_new);
        }
        for (auto &each : begun) {
            m_waiting.push_back(std::make_unique<Waiting>(std::move(each), *this));
            curl_multi_add_handle(m_multi.get(), m_waiting.back()->transfer.handle());
        }
    }

    void tellOutcomes() {
        int left = 0;
        while (const auto *message = curl_multi_info_read(m_multi.get(), &left)) {
            if (message->msg != CURLMSG_DONE)
                continue;
            const auto each = find(message->easy_handle);
            tell(message->easy_handle, (*each)->transfer.outcome(message->data.result));
        }
    }

    std::vector<Each>::iterator find(CURL *handle) {
        return std::ranges::find_if(m_waiting,
                                    [handle](const Each &each) { return each->transfer.handle() == handle; });
    }

    void tell(CURL *handle, Result<HttpReply> reply) {
        const auto place = find(handle);
        const auto each = std::move(*place);
        m_waiting.erase(place);
        curl_multi_remove_handle(m_multi.get(), handle);
        each->told(std::move(reply));
    }

    const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> m_multi;
    std::vector<Each> m_waiting; // the thread's
    std::atomic<bool> m_ending = false;
    std::mutex m_mutex; // guards the next
    std::vector<New> m_new;
    std::thread m_thread; // last: it uses the others
};

std::mutex mutex; // guards the rest
std::unique_ptr<Transfers> transfers;
bool ended = false;

// What is told meanwhile may ask for more, in vain.
void end() {
    std::unique_ptr<Transfers> last;
    {
        const std::lock_guard lock(mutex);
        ended = true;
        last.swap(transfers);
    }
}

} // namespace

void exchangeLater(HttpRequest request, std::stop_token stop, HttpTold told) {
    {
        const std::lock_guard lock(mutex);
        if (!transfers && !ended) {
            transfers = std::make_unique<Transfers>();
            qAddPostRoutine(end);
        }
        if (transfers)
            return transfers->add(std::move(request), std::move(stop), std::move(told));
    }
    told(std::unexpected(givenUp()));
}

} // namespace ombru
