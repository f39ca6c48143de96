#include "service/store/WriteAhead.h"

#include "service/store/Database.h"

namespace ombru {

namespace {

constexpr int MUCH = 1000;      // pages: moved without being asked
constexpr int LITTLE = 200;     // pages: moved in no time
constexpr int MOST_LEFT = 3000; // pages: on a full disk the reserve has to have room for them

} // namespace

Result<std::unique_ptr<WriteAhead>> WriteAhead::start(const QString &file, int most) {
    auto database = Database::open(file, Database::Mode::existing);
    if (!database)
        return std::unexpected(database.error());
    return std::make_unique<WriteAhead>(*std::move(database), most);
}

WriteAhead::WriteAhead(std::unique_ptr<Database> database, int most)
    : m_database(std::move(database)), m_most(most), m_thread([this] { run(); }) {}

WriteAhead::~WriteAhead() {
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
        m_changed.notify_one();
    }
    m_thread.join();
}

bool WriteAhead::isDue(int pages) {
    const std::lock_guard lock(m_mutex);
    if (pages < m_pages)
        m_moved = m_seen = m_tried = 0;
    m_pages = pages;
    if (hasWork())
        m_changed.notify_one();
    const int left = pages - m_moved;
    const int sinceTried = pages - m_tried;
    const bool easy = isLong() && !m_moving && left <= LITTLE && sinceTried > LITTLE;
    const bool hard = (pages >= m_most || left >= MOST_LEFT) && sinceTried > (m_held ? MUCH : LITTLE);
    if (easy || hard)
        m_tried = pages;
    return easy || hard;
}

void WriteAhead::note(const Moved &moved) {
    const std::lock_guard lock(m_mutex);
    m_held = moved.moved < moved.written;
    if (moved.written > m_pages) // of a file that has begun anew since
        return;
    m_moved = moved.moved;
    m_seen = std::max(m_seen, moved.written);
}

// A file that is to begin anew is followed closely, as long as that is of use.
bool WriteAhead::hasWork() const {
    return m_pages - m_seen > (isLong() && !m_held ? LITTLE : MUCH);
}

void WriteAhead::run() {
    std::unique_lock lock(m_mutex);
    while (!m_ended) {
        if (!hasWork()) {
            m_changed.wait(lock);
            continue;
        }
        m_seen = m_pages;
        m_moving = true;
        lock.unlock();
        {
            const auto alone = pause();
            note(m_database->moveIntoPlace());
        }
        lock.lock();
        m_moving = false;
    }
}

} // namespace ombru
