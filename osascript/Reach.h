// What a script may work by way of System Events, which is allowed as a whole: every window but those of applications
// that the owner refused to this script, those that ask the owner for a decision or a password, and terminals that are
// not allowed themselves, since a terminal does whatever is typed into it. What is undecided is open, and so is a
// window whose owner cannot be found. One thread. Asked before every key, so it looks anew only at new windows and at a
// record that was written since.
#pragma once
#include "osascript/ScriptConsent.h"
#include "platform/linux/consent/ConsentRecord.h"
#include "platform/linux/windows/Taskbar.h"

#include <QString>

#include <map>
#include <tuple>
#include <vector>

namespace ombru {

class Reach {
public:
    explicit Reach(ScriptConsent &consent) : m_consent(&consent) {} // which outlives it

    // A Failure, code -1743, names the application, and says what a script's author should do about it.
    Result<> mayReach(const DesktopWindow &window);

private:
    struct Application {
        QString id;
        QString name;
        bool isTerminal = false;
    };
    // Whose a window is: by its class, which is its own word, and by the program of its process.
    struct Owner {
        std::vector<Application> applications;
        QString question; // whose, when it asks the owner for an answer that is nobody else's to give
    };
    struct Known {
        Owner owner;
        bool judged = false; // by the record as it is in m_record
        QString refused;     // what may not be reached; empty when the window may
    };
    using Key = std::tuple<std::uint64_t, qint64, QString, QString>; // handle, process, class, instance

    static Owner ownerOf(const DesktopWindow &window);
    QString refused(const Owner &owner);
    void forgetOldAnswers();

    ScriptConsent *m_consent;
    std::map<Key, Known> m_known;
    ConsentRecordState m_record;
};

} // namespace ombru
