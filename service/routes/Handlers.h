// The handlers of all routes, by subject; what each answers is said where it is defined. Main thread.
#pragma once
#include "service/routes/Route.h"

namespace ombru {

// Accounts.cpp
Task<Response> showMe(Service &service, Asked asked);
Task<Response> firstVisit(Service &service, Asked asked);
Task<Response> signIn(Service &service, Asked asked);
Task<Response> signOut(Service &service, Asked asked);

// Devices.cpp: what computers ask, and the page that lets them in
Task<Response> startDevice(Service &service, Asked asked);
Task<Response> pollDevice(Service &service, Asked asked);
Task<Response> deviceConfig(Service &service, Asked asked);
Task<Response> showDevice(Service &service, Asked asked);
Task<Response> decideDevice(Service &service, Asked asked);

// Computers.cpp
Task<Response> listComputers(Service &service, Asked asked);
Task<Response> revokeComputer(Service &service, Asked asked);
Task<Response> forgetHistory(Service &service, Asked asked);
Task<Response> showSettings(Service &service, Asked asked);
Task<Response> writeSettings(Service &service, Asked asked);

// Tasks.cpp
Task<Response> listTasks(Service &service, Asked asked);
Task<Response> showTask(Service &service, Asked asked);
Task<Response> showPicture(Service &service, Asked asked);

// Sockets.cpp
Task<Response> openAgent(Service &service, Asked asked);
Task<Response> openPage(Service &service, Asked asked);

// Files.cpp
Task<Response> showPageFile(Service &service, Asked asked);
Task<Response> showFile(Service &service, Asked asked);
Response nothingOnPage(const Request &request); // the page, which says so

// Operations.cpp
Task<Response> showHealth(Service &service, Asked asked);
Task<Response> showMetrics(Service &service, Asked asked);

} // namespace ombru
