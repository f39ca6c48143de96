// What tells whoever runs the service how it is.

#include "service/routes/Handlers.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QByteArray metric(const char *name, const char *type, const char *help, qint64 value) {
    return QByteArray("# HELP ") + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n' + name + ' ' +
           QByteArray::number(value) + '\n';
}

QByteArray answersMetric(const AnswerCounts &answers) {
    QByteArray text = "# HELP ombru_http_answers_total Requests that were answered.\n"
                      "# TYPE ombru_http_answers_total counter\n";
    for (std::size_t first = 1; first < answers.byClass.size(); ++first)
        text += "ombru_http_answers_total{status=\"" + QByteArray::number(qint64(first)) + "xx\"} " +
                QByteArray::number(answers.byClass[first]) + '\n';
    return text;
}

} // namespace

Task<Response> showHealth(Service &service, Asked /*asked*/) {
    const auto works = co_await service.store.ask([](Store &its) { return its.accounts.isEmpty(); });
    if (!works)
        co_return failed(works.error());
    co_return answer({{u"status"_s, u"ok"_s}});
}

Task<Response> showMetrics(Service &service, Asked /*asked*/) {
    const auto &counts = service.hub->counts();
    const auto text = metric("ombru_computers_online", "gauge", "Computers with a channel.", counts.online) +
                      metric("ombru_pages_open", "gauge", "Pages with a channel.", counts.pages) +
                      metric("ombru_items_total", "counter", "Lines and pictures that were kept.", counts.items) +
                      metric("ombru_batches_lost_total", "counter", "Batches that could not be kept.", counts.lost) +
                      metric("ombru_computers_held_back_total", "counter",
                             "How often a computer had to wait for the disk.", counts.heldBack) +
                      metric("ombru_store_waiting", "gauge", "Work that waits for the store.",
                             static_cast<qint64>(service.store.waiting())) +
                      metric("ombru_reader_waiting", "gauge", "Questions about the history that wait.",
                             static_cast<qint64>(service.reader.waiting())) +
                      answersMetric(service.answers);
    co_return Response{.type = "text/plain; version=0.0.4; charset=utf-8", .body = text};
}

} // namespace ombru
