// The whole service: the store, what is live, HTTP, and what has to be done now and then. Main thread.
#pragma once
#include "service/DataDirectory.h"
#include "service/http/HttpServer.h"
#include "service/routes/Router.h"
#include "service/routes/Service.h"

#include <memory>

namespace ombru {

class Server {
public:
    struct Options {
        PasswordCost passwordCost = USUAL_COST;
        std::optional<int> mostPages = {}; // of the database: StoreOptions
        Clock::Duration requestLimit = std::chrono::seconds(30);
    };

    // Reads the settings as they are now. A Failure says what is in the way, in words for who starts it.
    static Result<std::unique_ptr<Server>> start(ServiceSettings &settings, Options options);
    ~Server(); // after stop()

    QUrl publicURL() const { return m_service.publicURL; }
    QString visitCode() const { return m_service.visitCode; } // empty when there is an account
    std::uint16_t port() const { return m_http->port(); }

    StoreQueue &store() { return m_store; }
    StoreQueue &reader() { return m_reader; } // of the history
    StoreQueue &pages() { return m_pages; }   // the same, for pages that catch up

    // Says goodbye to everybody, and has kept what they told.
    Task<> stop();

private:
    struct Stores {
        std::unique_ptr<Store> store;
        std::unique_ptr<Store> reader;
        std::unique_ptr<Store> pages;
    };
    Server(ServiceSettings &settings, DataLock lock, Stores stores, JournalStart journal, Options options);
    static Result<Stores> open(const QString &file, const Options &options);
    struct Kept;
    static Result<Kept> read(Store &store);
    Result<> serve();
    History::Limits limits() const;
    void lookLater(Clock::Duration delay);
    void look();
    double turn();
    Task<> tidy();

    const DataLock m_lock;
    StoreQueue m_store;
    StoreQueue m_reader;
    StoreQueue m_pages;
    Service m_service;
    Router m_router;
    const Options m_options;
    std::unique_ptr<HttpServer> m_http;
    TaskScope m_tasks;
    Timer m_looking;
    History::Limits m_limits; // as they were when it was tidied last
    qint64 m_lost = 0;        // the same
    std::optional<Clock::Time> m_tidied;
    Clock::Time m_turned = Clock::now(); // when the day of the history could go on last
};

} // namespace ombru
