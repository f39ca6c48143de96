#include "controller/KeptConversation.h"

#include "base/WholeFile.h"
#include "platform/SystemLog.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 LONGEST = 200; // bytes

QString file() {
    return stateDirectory() + u"/conversation"_s;
}

} // namespace

// It becomes an argument of claude, so that nothing that could be an option is taken.
std::optional<QString> keptConversation() {
    static const QRegularExpression form(u"^[A-Za-z0-9][A-Za-z0-9_-]*$"_s);
    QFile kept(file());
    if (!kept.open(QFile::ReadOnly))
        return {};
    const auto id = QString::fromUtf8(kept.read(LONGEST)).trimmed();
    return form.match(id).hasMatch() ? std::optional(id) : std::nullopt;
}

Result<> keepConversation(const std::optional<QString> &id) {
    if (!id) {
        QFile::remove(file());
        return {};
    }
    QDir().mkpath(stateDirectory());
    return writeWholeFile(file(), id->toUtf8() + '\n');
}

} // namespace ombru
