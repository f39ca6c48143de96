#include "osascript/dialog/DialogWire.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <array>

namespace ombru {

using namespace Qt::StringLiterals;
using applescript::DialogAnswer;
using applescript::DialogRequest;

namespace {

const std::array<QString, 2> KINDS{u"dialog"_s, u"alert"_s};
const std::array<QString, 4> ICONS{u"none"_s, u"note"_s, u"caution"_s, u"stop"_s};

std::unexpected<Failure> wrong(const QString &what) {
    return std::unexpected(Failure{u"dialog"_s, 1, what});
}

// Takes the fields of one object one after the other, and remembers the first one that is wrong.
class Fields {
public:
    explicit Fields(QJsonObject object) : m_object(std::move(object)) {}

    QString text(const QString &name) { return take(name, QJsonValue::String).toString(); }
    bool truth(const QString &name) { return take(name, QJsonValue::Bool).toBool(); }
    double number(const QString &name) { return take(name, QJsonValue::Double).toDouble(); }
    std::optional<QString> textIfAny(const QString &name) {
        return m_object.contains(name) ? std::optional(text(name)) : std::nullopt;
    }
    QStringList texts(const QString &name) {
        QStringList result;
        for (const auto &value : take(name, QJsonValue::Array).toArray()) {
            check(value.isString(), name);
            result += value.toString();
        }
        return result;
    }
    template <std::size_t COUNT>
    int choice(const QString &name, const std::array<QString, COUNT> &words) {
        const auto found = std::ranges::find(words, text(name));
        check(found != words.end(), name);
        return static_cast<int>(found - words.begin());
    }
    int index(const QString &name, qsizetype count) {
        const double value = number(name);
        const bool fits = value >= -1 && value < static_cast<double>(count) && value == static_cast<int>(value);
        check(fits, name);
        return fits ? static_cast<int>(value) : -1;
    }
    void check(bool fine, const QString &name) {
        if (!fine && m_wrong.isEmpty())
            m_wrong = name;
    }
    template <class T>
    Result<T> finished(T value) const {
        if (!m_wrong.isEmpty())
            return wrong(u"the field \""_s + m_wrong + u"\" is missing or wrong"_s);
        return value;
    }

private:
    QJsonValue take(const QString &name, QJsonValue::Type type) {
        const auto value = m_object.value(name);
        check(value.type() == type, name);
        return value;
    }

    QJsonObject m_object;
    QString m_wrong;
};

Result<Fields> fieldsOf(const QByteArray &json) {
    QJsonParseError error;
    const auto document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError)
        return wrong(u"not JSON: "_s + error.errorString());
    if (!document.isObject())
        return wrong(u"not a JSON object"_s);
    return Fields(document.object());
}

QByteArray bytes(const QJsonObject &object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

QByteArray toJson(const DialogRequest &request) {
    QJsonObject object{{u"kind"_s, KINDS[static_cast<std::size_t>(request.kind)]},
                       {u"text"_s, request.text},
                       {u"message"_s, request.message},
                       {u"title"_s, request.title},
                       {u"icon"_s, ICONS[static_cast<std::size_t>(request.icon)]},
                       {u"buttons"_s, QJsonArray::fromStringList(request.buttons)},
                       {u"defaultButton"_s, request.defaultButton},
                       {u"cancelButton"_s, request.cancelButton},
                       {u"hiddenText"_s, request.hiddenText},
                       {u"givingUpAfter"_s, request.givingUpAfter}};
    if (request.defaultText)
        object.insert(u"defaultText"_s, *request.defaultText);
    return bytes(object);
}

QByteArray toJson(const DialogAnswer &answer) {
    return bytes({{u"button"_s, answer.button}, {u"text"_s, answer.text}, {u"gaveUp"_s, answer.gaveUp}});
}

Result<DialogRequest> dialogRequest(const QByteArray &json) {
    auto fields = fieldsOf(json);
    if (!fields)
        return std::unexpected(fields.error());
    DialogRequest request;
    request.kind = static_cast<DialogRequest::Kind>(fields->choice(u"kind"_s, KINDS));
    request.text = fields->text(u"text"_s);
    request.message = fields->text(u"message"_s);
    request.title = fields->text(u"title"_s);
    request.icon = static_cast<DialogRequest::Icon>(fields->choice(u"icon"_s, ICONS));
    request.buttons = fields->texts(u"buttons"_s);
    fields->check(!request.buttons.isEmpty(), u"buttons"_s);
    request.defaultButton = fields->index(u"defaultButton"_s, request.buttons.size());
    request.cancelButton = fields->index(u"cancelButton"_s, request.buttons.size());
    request.defaultText = fields->textIfAny(u"defaultText"_s);
    request.hiddenText = fields->truth(u"hiddenText"_s);
    request.givingUpAfter = fields->number(u"givingUpAfter"_s);
    fields->check(request.givingUpAfter >= 0, u"givingUpAfter"_s);
    return fields->finished(request);
}

Result<DialogAnswer> dialogAnswer(const QByteArray &json) {
    auto fields = fieldsOf(json);
    if (!fields)
        return std::unexpected(fields.error());
    DialogAnswer answer;
    answer.button = fields->index(u"button"_s, std::numeric_limits<int>::max());
    answer.text = fields->text(u"text"_s);
    answer.gaveUp = fields->truth(u"gaveUp"_s);
    return fields->finished(answer);
}

} // namespace ombru
