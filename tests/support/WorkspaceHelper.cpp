// A program that asks the workspace for what a program can only ask for itself.
//   workspace-helper open ADDRESS       opens it; what stood in the way goes to standard output
//   workspace-helper reopen FILE ...    the first time: is opened again once it has ended, which is when standard input
//                                       ends; the second time: FILE has its directory, a variable and its arguments
#include "platform/Workspace.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

int open(const QString &address) {
    const auto opened = ombru::openURL(address);
    if (!opened)
        std::puts(qUtf8Printable(opened.error().description));
    return opened ? 0 : 1;
}

bool write(const QString &path, const QStringList &words) {
    QFile file(path + u".new"_s);
    return file.open(QFile::WriteOnly) && file.write(words.join(QChar(u'\0')).toUtf8()) >= 0 && file.flush() &&
           file.rename(path);
}

int reopen(const QStringList &arguments) {
    const auto first = arguments.value(1) + u".first"_s;
    if (QFile::exists(first)) {
        const QStringList seen{QDir::currentPath(), qEnvironmentVariable("OMBRU_TEST_VARIABLE")};
        return write(arguments.value(1), seen + arguments) ? 0 : 1;
    }
    if (!ombru::reopenAfterExit() || !write(first, {}))
        return 1;
    return std::getchar() == EOF ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    const auto arguments = QCoreApplication::arguments().sliced(1);
    return arguments.value(0) == u"open" ? open(arguments.value(1)) : reopen(arguments);
}
