// What the privacy settings know and do: the permissions, and the owner's decisions about applications, which other
// programs change meanwhile. Main thread; all that may wait happens in the background. drain() before it goes away.
#pragma once
#include "app/privacy/PrivacyText.h"
#include "base/Task.h"

#include <functional>

namespace ombru {

class PrivacyModel {
public:
    struct View {
        PermissionStates permissions; // empty until they were looked at
        QStringList asking;           // identifiers of the permissions whose prompt is open
        Result<std::vector<DecisionRow>> decisions;
        bool looked = false; // the decisions are known, or why they are not
        QString failure;     // of the last change; empty when it worked

        bool operator==(const View &) const = default;
    };

    // Called after each change of the view.
    explicit PrivacyModel(std::function<void()> onChange);

    const View &view() const { return m_view; }

    // From now on looks every second whether the record of decisions has changed; costs two looks at a file.
    void watch();

    void refresh(); // everything, now
    void ask(const QString &permission);
    // To allow, and to forget a refusal, the owner is asked at a prompt, which no script's keys reach as they reach
    // this window. One question at a time.
    void allow(const QString &client, const QString &application);
    void forget(const QString &client, const QString &application);
    void refuse(const QString &client, const QString &application);

    Task<> drain();

private:
    struct Reading;

    Task<> keepWatching();
    Task<> readPermissions();
    Task<> readDecisions(bool anyway);
    Task<> request(Permission permission);
    void offer(std::function<Result<bool>()> job);
    Task<> await(std::function<Result<bool>()> job);
    void finish(const Result<> &change);
    Task<> change(std::function<Result<>()> job);
    static std::optional<Reading> read(const QString &knownState);
    template <class Edit>
    void edit(Edit edit);

    View m_view;
    std::function<void()> m_onChange;
    QString m_recordState;             // of the files, when they were read last
    bool m_readingPermissions = false; // one reading at a time; what changes meanwhile is read again
    bool m_permissionsAgain = false;
    bool m_readingDecisions = false;
    bool m_decisionsAgain = false;
    bool m_offering = false;
    TaskScope m_tasks;
};

} // namespace ombru
