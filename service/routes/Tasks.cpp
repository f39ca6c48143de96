// What computers have done.

#include "service/live/Json.h"
#include "service/routes/Handlers.h"
#include "service/routes/Owned.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int USUAL_TASKS = 50;
constexpr int MOST_TASKS = 200;
constexpr int MOST_ITEMS = 2000;
constexpr qsizetype LONGEST_SEARCH = 200; // characters

Response nothing() {
    return refuse(Refusal::notFound, u"There is no such thing here."_s);
}

History::TaskSearch searchOf(const Asked &asked) {
    History::TaskSearch search;
    search.computer = asked.id.toLongLong();
    search.words = QString::fromUtf8(asked.request.queryItem("search")).trimmed().left(LONGEST_SEARCH);
    if (const auto before = asked.request.queryItem("before").toLongLong(); before > 0)
        search.before = before;
    const auto limit = asked.request.queryItem("limit").toInt();
    search.most = limit > 0 ? std::min(limit, MOST_TASKS) : USUAL_TASKS;
    return search;
}

} // namespace

Task<Response> listTasks(Service &service, Asked asked) {
    const auto computer = co_await ownComputer(service, asked);
    if (!computer)
        co_return computer.error();
    auto search = searchOf(asked);
    const auto most = static_cast<std::size_t>(search.most++); // one more tells whether there are more
    const auto found = co_await service.reader.ask([search](Store &its) { return its.history.tasks(search); });
    if (!found)
        co_return failed(found.error());
    QJsonArray tasks;
    for (const auto &task : std::span(*found).first(std::min(most, found->size())))
        tasks.append(toJson(task));
    co_return answer({{u"tasks"_s, tasks}, {u"more"_s, found->size() > most}});
}

Task<Response> showTask(Service &service, Asked asked) {
    const auto id = asked.id.toLongLong();
    const auto task = co_await service.reader.ask([id](Store &its) { return its.history.task(id); });
    if (!task)
        co_return failed(task.error());
    if (!*task)
        co_return nothing();
    const auto computer = co_await ownComputer(service, asked.account.id, (*task)->computer);
    if (!computer)
        co_return computer.error();
    const auto found =
        co_await service.reader.ask([id](Store &its) { return its.history.itemsOfTask(id, MOST_ITEMS); });
    if (!found)
        co_return failed(found.error());
    QJsonObject all{{u"task"_s, toJson(**task)}, {u"items"_s, toJson(found->items)}};
    if (found->cut)
        all[u"cut"_s] = true;
    co_return answer(all);
}

Task<Response> showPicture(Service &service, Asked asked) {
    const auto id = asked.id.toLongLong();
    const auto picture = co_await service.reader.ask([id](Store &its) { return its.history.picture(id); });
    if (!picture)
        co_return failed(picture.error());
    if (!*picture)
        co_return nothing();
    const auto computer = co_await ownComputer(service, asked.account.id, (*picture)->computer);
    if (!computer)
        co_return computer.error();
    // No browser keeps a screen for whoever comes next; an open page has its pictures in memory.
    co_return Response{.type = "image/jpeg", .body = (*picture)->jpeg, .headers = {{"Cache-Control", "no-store"}}};
}

} // namespace ombru
