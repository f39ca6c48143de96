#include "platform/linux/wayland/PortalScreen.h"

#include "picture/PictureFile.h"
#include "platform/linux/services/SessionBusAddress.h"
#include "platform/linux/wayland/Portal.h"

#include <QFile>
#include <QUrl>

#include <mutex>
#include <sys/stat.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 LARGEST_FILE = 256 << 20; // bytes
const QString SCREENSHOT = u"org.freedesktop.portal.Screenshot"_s;

// Remembers on which session bus the portal has shown the screen.
class Shown {
public:
    void remember(const QString &bus) {
        const std::lock_guard lock(m_mutex);
        m_bus = bus;
    }
    bool isOn(const QString &bus) {
        const std::lock_guard lock(m_mutex);
        return !bus.isEmpty() && m_bus == bus;
    }

private:
    std::mutex m_mutex;
    QString m_bus;
};

Shown &shown() {
    static Shown shown;
    return shown;
}

QString thisProgram() {
    QFile file(u"/proc/self/cgroup"_s);
    return file.open(QIODevice::ReadOnly) ? portalProgram(QString::fromUtf8(file.readAll())) : QString();
}

Failure failed(const QString &what) {
    return {u"screenshot"_s, 1, what};
}

Result<Picture> readPicture(const QString &uri) {
    const QUrl url(uri, QUrl::StrictMode);
    if (!url.isLocalFile() || !url.host().isEmpty())
        return std::unexpected(failed(
            u"The desktop portal says its picture is at \"%1\", which is no file of this computer's."_s.arg(uri)));
    const QString path = url.toLocalFile();
    struct stat file{};
    if (::stat(QFile::encodeName(path).constData(), &file) != 0 || !S_ISREG(file.st_mode))
        return std::unexpected(failed(u"The desktop portal's picture is not at %1."_s.arg(path)));
    if (file.st_size > LARGEST_FILE)
        return std::unexpected(
            failed(u"The desktop portal's picture %1 is larger than ombru reads (256 MB)."_s.arg(path)));
    const auto picture = readPng(path);
    if (!picture)
        return std::unexpected(failed(u"What the desktop portal left at %1 is no PNG picture."_s.arg(path)));
    // The portal leaves it to us. Only what surely is one of its pictures is removed.
    QFile::remove(path);
    return *picture;
}

// Where the picture is.
Result<QString> askForPicture(std::chrono::nanoseconds limit) {
    auto portal = Portal::open();
    if (!portal)
        return std::unexpected(portal.error());
    const auto results =
        portal->request(SCREENSHOT, u"Screenshot"_s, {{'s', QString()}}, {{u"interactive"_s, false}}, limit);
    if (results)
        shown().remember(sessionBusAddress());
    else if (results.error().code == Portal::REFUSED)
        shown().remember(QString());
    if (!results)
        return std::unexpected(results.error());
    return results->value(u"uri"_s).toString();
}

} // namespace

bool portalShowsScreen() {
    auto portal = Portal::open();
    if (!portal || !portal->version(SCREENSHOT))
        return false;
    const QString table = u"screenshot"_s;
    QString decision = portal->decision(table, table, thisProgram());
    if (decision.isEmpty())
        decision = portal->decision(table, table, QString());
    return decision == u"yes" || (decision.isEmpty() && shown().isOn(sessionBusAddress()));
}

bool requestPortalScreen(std::chrono::nanoseconds limit) {
    const auto uri = askForPicture(limit);
    if (!uri)
        return false;
    // So that its file does not stay. Whether it can be read is not what was asked.
    [[maybe_unused]] const auto picture = readPicture(*uri);
    return true;
}

Result<Picture> portalPicture(std::chrono::nanoseconds limit) {
    const auto uri = askForPicture(limit);
    if (!uri)
        return std::unexpected(uri.error());
    return readPicture(*uri);
}

QString portalPictureRemedy(const Failure &failure) {
    if (failure.domain == u"portal"_s)
        return portalRemedy(failure);
    return u"Try again. If that does not help, see whether the disk is full, and update xdg-desktop-portal and its "
           u"part "
           u"for your desktop."_s;
}

} // namespace ombru
