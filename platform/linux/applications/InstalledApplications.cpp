#include "platform/linux/applications/InstalledApplications.h"

#include <QDateTime>
#include <QFileInfo>

#include <mutex>

namespace ombru {
namespace {

// Changes within the granularity of a file system's clock look like one.
constexpr qint64 GRANULARITY_MILLISECONDS = 2'000;
constexpr qint64 NOT_THERE = -1;

QList<qint64> stamps(const QStringList &sources) {
    QList<qint64> result;
    for (const QString &source : sources) {
        const auto changed = QFileInfo(source).lastModified();
        result.append(changed.isValid() ? changed.toMSecsSinceEpoch() : NOT_THERE);
    }
    return result;
}

struct Reading {
    explicit Reading(const Applications::Places &from)
        : places(from), begun(QDateTime::currentMSecsSinceEpoch()), applications(std::make_shared<Applications>(from)),
          stamped(stamps(applications->sources())), ended(QDateTime::currentMSecsSinceEpoch()) {}

    bool isStillRight(const Applications::Places &now) const {
        const auto settled = [&](qint64 stamp) { return stamp < begun - GRANULARITY_MILLISECONDS || stamp > ended; };
        return places == now && std::ranges::all_of(stamped, settled) && stamps(applications->sources()) == stamped;
    }

    Applications::Places places;
    qint64 begun; // milliseconds since 1970
    std::shared_ptr<const Applications> applications;
    QList<qint64> stamped;
    qint64 ended;
};

} // namespace

std::shared_ptr<const Applications> installedApplications() {
    static std::mutex mutex;
    static std::optional<Reading> last;
    const auto places = Applications::ownersPlaces();
    const std::lock_guard lock(mutex);
    if (!last || !last->isStillRight(places))
        last.emplace(places);
    return last->applications;
}

} // namespace ombru
