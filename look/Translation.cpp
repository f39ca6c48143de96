#include "look/Translation.h"

#include <QCoreApplication>
#include <QDir>
#include <QTranslator>

namespace ombru {

using namespace Qt::StringLiterals;

QString catalogueDirectory() {
    const QDir here(QCoreApplication::applicationDirPath());
    const auto beside = here.filePath(u"translations"_s);
    return QDir(beside).exists() ? beside : QDir::cleanPath(here.filePath(u"../../share/ombru/translations"_s));
}

std::unique_ptr<QTranslator> translateTexts(const QString &directory, const QLocale &locale) {
    auto translator = std::make_unique<QTranslator>();
    const bool isThere = translator->load(locale, u"ombru"_s, u"_"_s, directory);
    return isThere && QCoreApplication::installTranslator(translator.get()) ? std::move(translator) : nullptr;
}

} // namespace ombru
