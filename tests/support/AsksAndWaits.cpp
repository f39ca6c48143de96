// asks-and-waits URL HEADER: begins a request with that header, and is there until it is killed.
#include "net/HttpClient.h"

#include <QCoreApplication>

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const auto words = QCoreApplication::arguments();
    if (words.size() != 3)
        return 2;
    const ombru::HttpRequest request{
        .url = words[1], .headers = {words[2].toUtf8()}, .body = {}, .limit = std::chrono::hours(1)};
    ombru::exchangeLater(request, {}, [](const auto &) {});
    return QCoreApplication::exec();
}
