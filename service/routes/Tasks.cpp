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

struct Found {
    std::vector<TaskRecord> tasks;
    std::vector<std::optional<History::Match>> matches; // of each, where its text and its answer do not say it
    bool more = false;
    qint64 total = 0;
};

Result<Found> find(History &history, History::TaskSearch search) {
    const auto most = static_cast<std::size_t>(search.most++); // one more tells whether there are more
    auto tasks = history.tasks(search);
    const auto total = history.countTasks(search.computer);
    if (!tasks || !total)
        return std::unexpected(!tasks ? tasks.error() : total.error());
    Found found{.tasks = *std::move(tasks), .matches = {}, .more = false, .total = *total};
    found.more = found.tasks.size() > most;
    found.tasks.resize(std::min(most, found.tasks.size()));
    for (const auto &task : found.tasks) {
        const auto says = [&](const QString &text) { return text.contains(search.words, Qt::CaseInsensitive); };
        const bool plain = search.words.isEmpty() || says(task.text) || says(task.answer);
        auto match = plain ? Result<std::optional<History::Match>>() : history.match(task.id, search.words);
        if (!match)
            return std::unexpected(match.error());
        found.matches.push_back(*std::move(match));
    }
    return found;
}

QJsonObject toJson(const TaskRecord &task, const std::optional<History::Match> &match) {
    auto json = toJson(task);
    if (match)
        json[u"match"_s] = QJsonObject{{u"step"_s, match->step}, {u"kind"_s, match->kind}, {u"text"_s, match->text}};
    return json;
}

} // namespace

Task<Response> listTasks(Service &service, Asked asked) {
    const auto computer = co_await ownComputer(service, asked);
    if (!computer)
        co_return computer.error();
    co_await service.hub->settle();
    const auto found =
        co_await service.reader.ask([search = searchOf(asked)](Store &its) { return find(its.history, search); });
    if (!found)
        co_return failed(found.error());
    QJsonArray tasks;
    for (std::size_t at = 0; at < found->tasks.size(); ++at)
        tasks.append(toJson(found->tasks[at], found->matches[at]));
    co_return answer({{u"tasks"_s, tasks}, {u"more"_s, found->more}, {u"total"_s, found->total}});
}

Task<Response> showTask(Service &service, Asked asked) {
    const auto id = asked.id.toLongLong();
    co_await service.hub->settle();
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
    Result<std::optional<History::Picture>> picture = co_await service.hub->unsettledPicture(id);
    if (!*picture)
        picture = co_await service.reader.ask([id](Store &its) { return its.history.picture(id); });
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
