// The running service as its routes see it: what it keeps, what is live, and who has tried what. Main thread.
#pragma once
#include "service/live/Hub.h"
#include "service/rates/Rates.h"
#include "service/secrets/Secrets.h"
#include "service/settings/ServiceSettings.h"
#include "service/store/StoreQueue.h"

#include <QUrl>

namespace ombru {

// What was answered since the start, by the status's first digit.
struct AnswerCounts {
    std::array<qint64, 6> byClass{};
    void count(int status) { ++byClass[static_cast<std::size_t>(std::clamp(status / 100, 0, 5))]; }
};

struct Service {
    ServiceSettings &settings;
    StoreQueue &store;
    StoreQueue &reader; // for questions that may take long: nobody waits for them who has something to keep
    std::shared_ptr<Hub> hub;
    PasswordCost passwordCost = USUAL_COST;
    QUrl publicURL = {};    // without a path
    QString visitCode = {}; // of the first visit; empty once there is an account
    AnswerCounts answers = {};

    // So many wrong ones, and in which time. Those from a browser that an account knows are counted apart, so that
    // strangers cannot keep its owner out.
    Attempts wrongInBrowser{5, std::chrono::minutes(15)};
    Attempts wrongAtAccount{5, std::chrono::minutes(15)}; // by address and account
    Attempts wrongAnywhere{50, std::chrono::hours(1)};    // by account
    Attempts wrongFromAddress{30, std::chrono::minutes(15)};
    Attempts wrongCodes{10, std::chrono::minutes(15)}; // by account

    bool isSecure() const { return publicURL.scheme() == QLatin1StringView("https"); }
};

} // namespace ombru
