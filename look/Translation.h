// Our own texts in the owner's language, where there is a catalogue for it. Texts that are fixed are in none. Main
// thread.
#pragma once
#include <QLocale>
#include <QString>

#include <memory>

class QTranslator;

namespace ombru {

// Where the catalogues are (ombru_LANGUAGE.qm): beside the program as it is built, else where it is installed.
QString catalogueDirectory();

// The texts of this process are in that language while the result lives; null without a catalogue for it.
std::unique_ptr<QTranslator> translateTexts(const QString &directory, const QLocale &locale = QLocale::system());

} // namespace ombru
