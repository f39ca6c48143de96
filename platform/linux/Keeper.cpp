#include "platform/Keeper.h"

#include <QCoreApplication>

namespace ombru {

using namespace Qt::StringLiterals;

// Both lie beside the application.
QString keeperPath() {
    return QCoreApplication::applicationDirPath() + u"/ombru-keeper"_s;
}

QString inputReleasePath() {
    return QCoreApplication::applicationDirPath() + u"/ombru-input-release"_s;
}

} // namespace ombru
