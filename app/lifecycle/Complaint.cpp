#include "app/lifecycle/Complaint.h"

#include <QApplication>
#include <QMessageBox>

#include <cstdio>
#include <unistd.h>

namespace ombru {

void complainToOwner(const QString &what) {
    std::fprintf(stderr, "ombru-menubar: %s\n", qUtf8Printable(what));
    if (!qApp || ::isatty(STDERR_FILENO) == 1)
        return;
    QMessageBox window(QMessageBox::Warning, QStringLiteral("ombru"), what, QMessageBox::Ok);
    window.setTextFormat(Qt::PlainText);
    window.exec();
}

} // namespace ombru
