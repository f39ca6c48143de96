// The applications of this computer, by the identifier of an Application that was found here, and whether the owner
// lets a script reach them.
#pragma once
#include "applescript/values/Application.h"
#include "base/Failure.h"

#include <QStringList>

#include <optional>

namespace ombru::applescript {

class Applications {
public:
    virtual ~Applications() = default;

    // Asked before every event to an application, System Events included: whether the owner lets this script send it.
    // Blocks while the owner is asked. A Failure has code -1743 and the whole message.
    virtual Result<> authorize(const Application &application) = 0;

    virtual std::optional<Application> applicationNamed(const QString &name) = 0;
    virtual std::optional<Application> applicationWithId(const QString &id) = 0;
    virtual bool isRunning(const QString &id) = 0;
    virtual bool isFrontmost(const QString &id) = 0;
    virtual Result<> launch(const QString &id) = 0;   // without stealing the focus
    virtual Result<> activate(const QString &id) = 0; // starts it when needed; returns once it is in front
    virtual Result<> quit(const QString &id) = 0;     // asks; nothing to do when it is not running
    virtual Result<> open(const QString &id, const QStringList &paths) = 0; // full paths of what is there
    virtual Result<Application> openerOf(const QString &path) = 0; // the owner's for a document; a program has none
    virtual Result<> openLocation(const QString &url) = 0; // no file; in whatever the owner opens such addresses with
};

} // namespace ombru::applescript
