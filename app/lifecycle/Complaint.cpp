#include "app/lifecycle/Complaint.h"

#include "look/Look.h"
#include "look/Style.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

#include <cstdio>
#include <unistd.h>

namespace ombru {

void complainToOwner(const QString &what) {
    std::fprintf(stderr, "ombru-menubar: %s\n", qUtf8Printable(what));
    if (!qApp || ::isatty(STDERR_FILENO) == 1)
        return;
    QMessageBox window(QMessageBox::Warning, QStringLiteral("ombru"), what, QMessageBox::Ok);
    window.button(QMessageBox::Ok)->setIcon({});
    window.setTextFormat(Qt::PlainText);
    const Look look(window, [&window](const Colours &colours) { window.setStyleSheet(windowStyle(colours)); });
    window.exec();
}

} // namespace ombru
