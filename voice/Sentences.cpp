#include "voice/Sentences.h"

namespace ombru {

namespace {

bool endsSentence(QChar character) {
    return character == u'.' || character == u'!' || character == u'?' || character == u'\n';
}

} // namespace

QStringList sentencesOf(const QString &text) {
    QStringList sentences;
    qsizetype begin = 0;
    for (qsizetype place = 0; place <= text.size(); ++place) {
        if (place < text.size() && !endsSentence(text[place]))
            continue;
        const auto piece = QStringView(text).mid(begin, place + 1 - begin).trimmed();
        if (!piece.isEmpty())
            sentences.append(piece.toString());
        begin = place + 1;
    }
    return sentences;
}

} // namespace ombru
