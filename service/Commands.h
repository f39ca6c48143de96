// What `ombru-service` does besides serving: work on the data of a service, which may run meanwhile where that is said.
// Each prints its words and gives the exit status. Blocking.
#pragma once
#include "service/settings/ServiceSettings.h"

namespace ombru {

int backUp(const ServiceSettings &settings, const QString &file);  // also while it runs
int restore(const ServiceSettings &settings, const QString &file); // only while it does not

// These read the password from standard input, without showing it on a terminal; also while it runs.
int addUser(const ServiceSettings &settings, const QString &email);
int resetPassword(const ServiceSettings &settings, const QString &email); // signs the user out everywhere

int listSettings(const ServiceSettings &settings);
int writeSetting(ServiceSettings &settings, const QString &key, const QString &value);

int complain(const QString &what); // on standard error; gives 1

} // namespace ombru
