#include "service/Commands.h"

#include "base/Clock.h"
#include "service/DataDirectory.h"
#include "service/secrets/AccountRules.h"
#include "service/secrets/Secrets.h"
#include "service/store/Store.h"

#include <QTextStream>

#include <termios.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

void say(const QString &text) {
    QTextStream(stdout) << text << Qt::endl;
}

// A terminal that does not show what is typed, as long as one lives.
class Unseen {
public:
    Unseen() {
        if (::tcgetattr(STDIN_FILENO, &m_before) != 0)
            return;
        m_changed = true;
        auto unseen = m_before;
        unseen.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &unseen);
    }
    ~Unseen() {
        if (m_changed)
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
    }
    Unseen(const Unseen &) = delete;
    Unseen &operator=(const Unseen &) = delete;

private:
    termios m_before{};
    bool m_changed = false;
};

QString readPassword(const QString &email) {
    if (::isatty(STDIN_FILENO) != 0)
        QTextStream(stderr) << u"Password for %1 (12 characters at least): "_s.arg(email) << Qt::flush;
    const Unseen unseen;
    return QTextStream(stdin).readLine();
}

// A new password of that account, as it is kept; otherwise what is wrong with it.
std::expected<QByteArray, QString> readHashed(const QString &email) {
    const auto password = readPassword(email);
    if (const auto unfit = unfitPassword(password))
        return std::unexpected(*unfit);
    const auto hashed = hashedPassword(password, USUAL_COST);
    if (hashed.isEmpty())
        return std::unexpected(u"There is not enough memory to keep a password (64 MiB)."_s);
    return hashed;
}

Result<std::unique_ptr<Store>> openStore(const ServiceSettings &settings) {
    const auto file = databaseIn(settings.directory());
    if (!file)
        return std::unexpected(file.error());
    return Store::open({*file});
}

} // namespace

int complain(const QString &what) {
    QTextStream(stderr) << "ombru-service: " << what << Qt::endl;
    return 1;
}

int backUp(const ServiceSettings &settings, const QString &file) {
    const auto database = databaseIn(settings.directory());
    if (!database)
        return complain(database.error().description);
    const auto done = Store::backup(*database, file);
    if (!done)
        return complain(done.error().description);
    say(u"Everything is in %1. It holds keys: keep it where only you can read it."_s.arg(file));
    return 0;
}

int restore(const ServiceSettings &settings, const QString &file) {
    const auto database = databaseIn(settings.directory());
    if (!database)
        return complain(database.error().description);
    const auto lock = DataLock::take(settings.directory());
    if (!lock)
        return complain(lock.error().description);
    const auto done = Store::restore(file, *database);
    if (!done)
        return complain(done.error().description);
    say(u"What is in %1 is the service's now."_s.arg(file));
    return 0;
}

int addUser(const ServiceSettings &settings, const QString &email) {
    if (const auto unfit = unfitAddress(email))
        return complain(*unfit);
    const auto hashed = readHashed(email);
    if (!hashed)
        return complain(hashed.error());
    const auto store = openStore(settings);
    if (!store)
        return complain(store.error().description);
    const auto added = (*store)->accounts.add(email, *hashed, Clock::unixSeconds());
    if (!added)
        return complain(added.error().description);
    say(u"%1 can sign in now."_s.arg(email));
    return 0;
}

int resetPassword(const ServiceSettings &settings, const QString &email) {
    const auto hashed = readHashed(email);
    if (!hashed)
        return complain(hashed.error());
    const auto store = openStore(settings);
    if (!store)
        return complain(store.error().description);
    const auto set = (*store)->accounts.setPassword(email, *hashed);
    if (!set)
        return complain(set.error().description);
    if (!*set)
        return complain(u"There is no account %1."_s.arg(email));
    say(u"%1 has a new password, and is signed out everywhere."_s.arg(email));
    return 0;
}

int listSettings(const ServiceSettings &settings) {
    for (const auto *setting : settings.all())
        say(u"%1 = %2\n    %3"_s.arg(setting->key, setting->text(), setting->meaning));
    say(u"\nThey are in %1."_s.arg(settings.file()));
    return 0;
}

int writeSetting(ServiceSettings &settings, const QString &key, const QString &value) {
    auto *setting = settings.find(key);
    if (!setting)
        return complain(u"There is no setting %1."_s.arg(key));
    const auto written = setting->writeTyped(value);
    if (!written)
        return complain(written.error().description);
    say(u"%1 = %2"_s.arg(setting->key, setting->text()));
    return 0;
}

} // namespace ombru
