// What a database has written ahead is moved into its place on a thread of its own: that waits for the disk, which
// nobody should who has something to keep. The file begins anew once all of it is moved, which needs a moment in which
// nothing is written: then the little that is left is moved by whoever writes. Made, asked and ended on the thread of
// that database.
#pragma once
#include "base/Failure.h"

#include <QString>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace ombru {

class Database;

class WriteAhead {
public:
    static constexpr int MOST = 16'384; // pages of 4 KiB, unless somebody reads all the time

    // How many pages there are since the file began, and how many of them are in their place.
    struct Moved {
        int written = 0;
        int moved = 0;
    };

    static Result<std::unique_ptr<WriteAhead>> start(const QString &file, int most);
    WriteAhead(std::unique_ptr<Database> database, int most);
    ~WriteAhead();
    WriteAhead(const WriteAhead &) = delete;
    WriteAhead &operator=(const WriteAhead &) = delete;

    // With so many pages: whether whoever writes has to move what is left.
    bool isDue(int pages);

    // Nothing is moved by the thread meanwhile.
    std::unique_lock<std::mutex> pause() { return std::unique_lock(m_moves); }
    void note(const Moved &moved); // by whoever did; any thread

private:
    void run();
    bool hasWork() const;
    bool isLong() const { return m_pages >= m_most / 2; }

    const std::unique_ptr<Database> m_database; // the thread's connection
    const int m_most;
    std::mutex m_moves; // held by whoever moves
    std::mutex m_mutex; // guards the rest
    std::condition_variable m_changed;
    int m_pages = 0;
    int m_moved = 0;     // of those
    int m_seen = 0;      // so many were there when the thread looked last
    int m_tried = 0;     // ... when whoever writes was told to move
    bool m_held = false; // somebody reads what would be moved
    bool m_moving = false;
    bool m_ended = false;
    std::thread m_thread;
};

} // namespace ombru
