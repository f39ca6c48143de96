// What computers have told: their logs and pictures, by number and by task. Part of the store, on its thread.
#pragma once
#include "base/Failure.h"
#include "service/store/Numbering.h"
#include "service/store/Records.h"
#include "service/store/Segment.h"
#include "service/store/Sizes.h"

#include <limits>

namespace ombru {

class Database;

class History {
public:
    explicit History(Database &database) : m_database(database) {}

    // When a service starts, and only then: tasks that ran when it ended are lost until their computer says otherwise,
    // and computers were seen when they told something last.
    Result<> begin();

    // How much is kept: bytes of all computers together, and pictures of each. What is told past that pushes out the
    // oldest of the computer that has most, so that one that runs wild costs the others nothing.
    struct Limits {
        qint64 bytes = std::numeric_limits<qint64>::max();
        qint64 pictures = std::numeric_limits<qint64>::max();

        bool operator==(const Limits &) const = default;
    };
    void limit(Limits limits) { m_limits = limits; }

    // Where numbers go on.
    Result<Numbering::State> numbers();

    // Keeps what is not there yet, in several pieces when it is much. After a Failure some of it may be kept; to keep
    // it again does no harm. With all of it the database wants the part of the journal behind that one.
    Result<> keep(std::span<const Entry> entries, const SegmentName &name);

    // The part of the journal that it wants, and the one that it has taken in last. Both are empty at first.
    struct Parts {
        QByteArray next;
        QByteArray last;
    };
    Result<Parts> parts();
    Result<> expect(const QByteArray &next); // from now on, whatever there was

    // Those behind `after`, in order: `most` of them, or fewer when they are long, but one at least when there is one.
    Result<std::vector<Item>> itemsAfter(qint64 computer, qint64 after, int most);

    struct TaskItems {
        std::vector<Item> items;
        bool cut = false; // earlier ones are left out
    };
    Result<TaskItems> itemsOfTask(qint64 task, int most);

    Result<std::optional<TaskRecord>> task(qint64 task);
    Result<std::map<qint64, TaskRecord>> lastTasks(); // by computer
    Result<std::map<qint64, Item>> lastPictures();    // the same

    struct TaskSearch {
        qint64 computer = 0;
        QString words; // all of them are in the task, its answer, or a line of it; empty for every task
        std::optional<qint64> before;
        int most = 50;
    };
    Result<std::vector<TaskRecord>> tasks(const TaskSearch &search); // newest first
    Result<qint64> countTasks(qint64 computer);

    // The first line of a task's log that says it.
    struct Match {
        int step = 0;
        QString kind;
        QString text; // that line, or what is around the words
    };
    Result<std::optional<Match>> match(qint64 task, const QString &words);

    struct Picture {
        qint64 computer = 0;
        QByteArray jpeg;
    };
    Result<std::optional<Picture>> picture(qint64 picture);

    // What a computer has told is gone, also what is kept only later up to that number; its numbers go on.
    Result<> forget(qint64 computer, qint64 upTo);

    // The time that age is told by. It follows the clock, but by `most` seconds at a time: a clock that is far ahead
    // for some hours makes nothing old.
    Result<double> today(double now, double most);

    // Each drops a part at a time, also from a full disk: whether there is more.
    Result<bool> dropOld(qint64 computer, double before, double now); // what was received before a time
    Result<bool> dropSurplus(qint64 computer);                        // its pictures past the limit
    Result<bool> dropSurplus();                                       // what is past the limit of bytes

private:
    struct Keeping; // of one piece
    Result<> keepPiece(std::span<const Entry> entries, const SegmentName *name);
    Result<> knowSizes();
    Result<qint64> bytes(); // of all computers
    Result<bool> dropBytes(qint64 most);
    Result<bool> dropPictures(qint64 computer);
    Result<qint64> lastOf(qint64 computer, qint64 bytes); // the last item of so much at the beginning
    Result<> dropUpTo(qint64 computer, qint64 number);

    Database &m_database;
    Limits m_limits;
    std::optional<Sizes> m_sizes; // none when something was dropped since
};

} // namespace ombru
