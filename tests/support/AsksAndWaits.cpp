// asks-and-waits URL HEADER: begins a request with that header, and is there until it is killed.
#include "net/HttpClient.h"

#include <QCoreApplication>

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const auto words = QCoreApplication::arguments();
    if (words.size() != 3)
        return 2;
    ombru::exchangeLater({.url = words[1], .headers = {words[2].toUtf8()}, .body = {}}, {}, [](const auto &) {});
    return QCoreApplication::exec();
}
