#include "app/cli/EventPrinter.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace ombru {

using namespace Qt::StringLiterals;

Colour colourOf(EventKind kind) {
    switch (kind) {
    case EventKind::user:
        return Colour::bold;
    case EventKind::call:
    case EventKind::heard:
    case EventKind::said:
        return Colour::magenta;
    case EventKind::rule:
    case EventKind::dim:
        return Colour::dim;
    case EventKind::claude:
        return Colour::cyan;
    case EventKind::code:
        return Colour::blue;
    case EventKind::result:
        return Colour::plain;
    case EventKind::good:
        return Colour::green;
    case EventKind::bad:
        return Colour::red;
    case EventKind::warn:
        return Colour::yellow;
    }
    Q_UNREACHABLE();
}

QJsonObject toJson(const Event &event) {
    return {{u"kind"_s, kindName(event.kind)}, {u"text"_s, event.text}, {u"ts"_s, event.time}};
}

QByteArray jsonLine(const Event &event) {
    return QJsonDocument(toJson(event)).toJson(QJsonDocument::Compact);
}

} // namespace ombru
