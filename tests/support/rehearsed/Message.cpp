#include "tests/support/rehearsed/Message.h"

#include <QImageReader>
#include <QRegularExpression>

namespace ombru::rehearsed {
namespace {

using namespace Qt::StringLiterals;

QRegularExpressionMatch find(const QString &text, const QString &pattern) {
    return QRegularExpression(pattern, QRegularExpression::MultilineOption).match(text);
}

std::optional<QSize> sizeIn(const QRegularExpressionMatch &match) {
    if (!match.hasMatch())
        return std::nullopt;
    return QSize(match.captured(1).toInt(), match.captured(2).toInt());
}

QString inWords(QSize size) {
    return u"%1x%2"_s.arg(size.width()).arg(size.height());
}

Result<> blind(const QString &why) {
    return std::unexpected(Failure{u"rehearsed"_s, 0, why});
}

} // namespace

Message parseMessage(const QString &text) {
    Message message;
    message.text = text;
    const auto screenshot = find(text, u"^Screenshot \\(step \\d+\\): (.+)$"_s);
    if (screenshot.hasMatch())
        message.screenshot = screenshot.captured(1);
    message.image = sizeIn(find(text, u"^Image size: (\\d+)x(\\d+) px\\.$"_s));
    message.points = sizeIn(find(text, u"^Screen size: (\\d+)x(\\d+) points\\."_s));
    const auto head = u"USER TASK: "_s;
    if (text.startsWith(head)) {
        const auto end = screenshot.hasMatch() ? screenshot.capturedStart() : text.size();
        message.task = text.mid(head.size(), end - head.size()).trimmed();
    }
    return message;
}

Result<> look(const Message &message) {
    if (!message.screenshot || !message.image || !message.points)
        return blind(u"the message names no screenshot with its sizes."_s);
    QImageReader reader(*message.screenshot);
    if (reader.format() != "png")
        return blind(u"the screenshot %1 is not there or is not a PNG picture."_s.arg(*message.screenshot));
    const QImage image = reader.read();
    if (image.isNull())
        return blind(u"the screenshot %1 is damaged: %2."_s.arg(*message.screenshot, reader.errorString()));
    if (image.size() != *message.image)
        return blind(
            u"the screenshot is %1 pixels, the message says %2."_s.arg(inWords(image.size()), inWords(*message.image)));
    return {};
}

} // namespace ombru::rehearsed
