#include "service/log/Log.h"
#include "service/routes/Handlers.h"

#include <array>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype SMALL = 8 << 10; // bytes
constexpr qsizetype LARGE = 256 << 10;

constexpr std::array ROUTES = {
    Route{Method::get, u"/api/me", Who::visitor, {}, &showMe},
    Route{Method::post, u"/api/first-visit", Who::anyone, {SMALL, Pace::careful}, &firstVisit},
    Route{Method::post, u"/api/sign-in", Who::anyone, {SMALL, Pace::careful}, &signIn},
    Route{Method::post, u"/api/sign-out", Who::account, {SMALL}, &signOut},
    Route{Method::get, u"/api/computers", Who::account, {}, &listComputers},
    Route{Method::remove, u"/api/computers/*", Who::account, {SMALL}, &revokeComputer},
    Route{Method::remove, u"/api/computers/*/history", Who::account, {SMALL}, &forgetHistory},
    Route{Method::get, u"/api/computers/*/settings", Who::account, {}, &showSettings},
    Route{Method::put, u"/api/computers/*/settings", Who::account, {LARGE}, &writeSettings},
    Route{Method::get, u"/api/computers/*/tasks", Who::account, {}, &listTasks},
    Route{Method::get, u"/api/tasks/*", Who::account, {}, &showTask},
    Route{Method::get, u"/api/pictures/*", Who::account, {0, Pace::frequent}, &showPicture},
    Route{Method::get, u"/api/verify", Who::account, {}, &showDevice},
    Route{Method::post, u"/api/verify", Who::account, {SMALL}, &decideDevice},
    Route{Method::get, u"/live", Who::page, {}, &openPage},
    Route{Method::post, u"/api/device/start", Who::anyone, {SMALL, Pace::careful}, &startDevice},
    Route{Method::post, u"/api/device/poll", Who::anyone, {SMALL, Pace::frequent}, &pollDevice},
    Route{Method::get, u"/api/device/config", Who::computer, {0, Pace::frequent}, &deviceConfig},
    Route{Method::get, u"/agent", Who::computer, {0, Pace::frequent}, &openAgent},
    Route{Method::get, u"/healthz", Who::operators, {}, &showHealth},
    Route{Method::get, u"/metrics", Who::operators, {}, &showMetrics},
    Route{Method::get, u"/web/**", Who::anyone, {0, Pace::frequent}, &showFile},
    Route{Method::get, u"/", Who::anyone, {}, &showPageFile},
    Route{Method::get, u"/verify", Who::anyone, {}, &showPageFile},
    Route{Method::get, u"/computers/*", Who::anyone, {}, &showPageFile},
    Route{Method::get, u"/computers/*/tasks", Who::anyone, {}, &showPageFile},
    Route{Method::get, u"/computers/*/settings", Who::anyone, {}, &showPageFile},
    Route{Method::get, u"/tasks/*", Who::anyone, {}, &showPageFile},
};

} // namespace

std::span<const Route> routes() {
    return ROUTES;
}

Response failed(const Failure &failure) {
    logEvent(u"failure", {{u"why", failure.description}});
    return isDiskFull(failure) ? refuse(Refusal::full, u"The service's disk is full."_s)
                               : refuse(Refusal::failed, u"The service could not do that; its log says why."_s);
}

} // namespace ombru
