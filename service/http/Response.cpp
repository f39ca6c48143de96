#include "service/http/Response.h"

#include <QJsonDocument>

#include <array>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

struct Kind {
    Refusal refusal;
    int status;
    QStringView code;
};

constexpr std::array<Kind, 10> KINDS = {{{Refusal::signedOut, 401, u"signedOut"},
                                         {Refusal::forbidden, 403, u"forbidden"},
                                         {Refusal::notFound, 404, u"notFound"},
                                         {Refusal::badRequest, 400, u"badRequest"},
                                         {Refusal::tooLarge, 413, u"tooLarge"},
                                         {Refusal::conflict, 409, u"conflict"},
                                         {Refusal::tooMany, 429, u"tooMany"},
                                         {Refusal::full, 507, u"full"},
                                         {Refusal::wrong, 403, u"wrong"},
                                         {Refusal::failed, 500, u"failed"}}};

Response json(int status, const QJsonObject &object) {
    return {.status = status,
            .type = "application/json",
            .body = QJsonDocument(object).toJson(QJsonDocument::Compact),
            .headers = {{"Cache-Control", "no-store"}}};
}

} // namespace

Response answer(const QJsonObject &object) {
    return json(200, object);
}

Response noContent() {
    return {.status = 204};
}

Response refuse(Refusal refusal, const QString &message, QJsonObject more) {
    const auto *kind = std::ranges::find(KINDS, refusal, &Kind::refusal);
    more["error"_L1] = kind->code.toString();
    more["message"_L1] = message;
    return json(kind->status, more);
}

} // namespace ombru
