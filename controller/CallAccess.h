// How a call reaches this computer.
#pragma once
#include <QString>

namespace ombru {

struct CallAccess {
    int port = 0; // of the call server
    QString token;
};

} // namespace ombru
