// What a test scripts of the desktop that is asked from background threads: applications, permissions, the owner's
// decisions, secrets, and what was opened. Reached through the lock of FakePlatform::desktop.
#pragma once
#include "platform/AppleEvents.h"
#include "platform/Consent.h"
#include "platform/SystemAudio.h"

#include <QCoreApplication>
#include <QMap>
#include <QStringList>
#include <QThread>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

namespace ombru {

struct FakeApplication {
    QString name;
    bool running = true;
    std::int32_t permission = AUTOMATION_ALLOWED; // what is answered without asking, while it runs
    std::int32_t answer = AUTOMATION_ALLOWED;     // the owner's, when asked about an undecided one
    std::optional<int> looksUntilItRuns = 0; // looks that still find it not running once opened; none: it never runs
    bool opened = false;
};

struct FakeRecording {
    int rate = 0;
    SystemAudio::Listener listener; // for the test to tell
    std::atomic<bool> ended = false;
};

struct FakeDesktop {
    bool screenAllowed = true;
    bool screenAnswer = true; // what a request gives; what is allowed does not change by it
    int screenRequests = 0;
    bool inputAllowed = true;
    bool inputAnswer = true;
    int inputRequests = 0;
    int requestsOnMainThread = 0; // of either; the main thread must not wait for an owner

    std::map<QString, FakeApplication> applications; // by identifier; no other is known
    QStringList startedHidden;                       // identifiers, in the order of their starts
    QStringList determined;                          // "look ID" or "ask ID", in order
    int looks = 0;                                   // whether some application runs
    // Called before an answer, outside the lock, on the asking thread; may wait there.
    std::function<void(const QString &id, bool ask)> beforeDetermining;

    QString consentDatabase;
    QMap<QString, QString> consentIdentities; // of those that were called something else
    QString ownConsentClient = QStringLiteral("com.ombru.mac");
    std::vector<ConsentDecision> decisions;
    // Called before all of them are given, outside the lock, on the asking thread; may wait there.
    std::function<void()> beforeListingDecisions;
    std::optional<bool> offerAnswer = true; // the owner's, when asked again; none: nobody is there
    int offers = 0;
    std::optional<Failure> consentFailure; // what reading and writing them answers instead

    std::map<QString, QString> secrets;
    bool keepsSecrets = true;          // else it takes none
    bool secretsLocked = false;        // and whoever is asked to unlock them does not
    std::set<QString> outdatedSecrets; // that it was to let go of, or to take
    std::optional<QString> secretDirectory;
    // Called before a secret is told, outside the lock, on the asking thread; may wait there.
    std::function<void()> beforeTellingSecrets;

    std::vector<std::shared_ptr<FakeRecording>> recordings; // of the computer's sound, in the order of their starts
    std::optional<Failure> recordingFailure;                // what a start answers instead
    // Called before one starts, outside the lock, on the asking thread; may wait there, and tell.
    std::function<void(FakeRecording &)> beforeRecording;
    int recordingsEndedOnMainThread = 0; // which must not wait for that

    // Called before an address is opened, outside the lock, on the asking thread; may wait there.
    std::function<void()> beforeOpeningURL;
    QStringList openedURLs;
    Result<> openingURL;
    int reopenings = 0;
    Result<> reopening;
    int loginRegistrations = 0;
    int loginRepairs = 0;
    Result<> loginItem;
    QList<bool> menuBarStarts; // with the panel open, or not
    Result<> menuBarStart;
};

// To be kept after the lock is gone: Qt's own copies share their data, and count that in ways which the thread
// sanitizer does not follow into Qt.
inline QStringList copied(const QStringList &list) {
    return {list.begin(), list.end()};
}

inline bool isMainThread() {
    return QThread::currentThread() == QCoreApplication::instance()->thread();
}

// A value that several threads use: each `guarded->field` holds the lock to the end of its full expression.
template <class T>
class Guarded {
public:
    class Access {
    public:
        explicit Access(Guarded &guarded) : m_lock(guarded.m_mutex), m_value(&guarded.m_value) {}
        T *operator->() const { return m_value; }
        T &operator*() const { return *m_value; }

    private:
        std::unique_lock<std::recursive_mutex> m_lock;
        T *m_value;
    };

    Guarded() = default;
    Guarded &operator=(Guarded &&other) noexcept {
        const std::lock_guard lock(m_mutex);
        m_value = std::move(other.m_value);
        return *this;
    }
    Access operator->() { return lock(); }
    Access lock() { return Access(*this); } // for as long as the access lives

private:
    std::recursive_mutex m_mutex;
    T m_value;
};

} // namespace ombru
