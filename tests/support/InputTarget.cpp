// A window that notes what reaches it. `input-target FILE TITLE`: FILE always has the text of its text field,
// FILE.events a line for each mouse button and each shortcut.
#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace {

QString modifiersOf(const QInputEvent &event) {
    return QKeySequence(event.modifiers().toInt()).toString(QKeySequence::PortableText);
}

class Target : public QPlainTextEdit {
public:
    explicit Target(const QString &file) : m_file(file), m_events(file + u".events"_s) {
        if (!m_events.open(QIODevice::WriteOnly | QIODevice::Append))
            std::abort();
        connect(this, &QPlainTextEdit::textChanged, this, [this] { save(); });
        viewport()->installEventFilter(this);
    }

protected:
    void keyPressEvent(QKeyEvent *event) override {
        const bool plain = (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) == 0;
        if (plain)
            QPlainTextEdit::keyPressEvent(event);
        if (!plain || event->text().isEmpty() || !event->text().front().isPrint())
            note(QKeySequence(event->keyCombination()).toString(QKeySequence::PortableText));
    }

    bool eventFilter(QObject *, QEvent *event) override {
        const char *what = event->type() == QEvent::MouseButtonPress      ? "press"
                           : event->type() == QEvent::MouseButtonDblClick ? "double"
                                                                          : nullptr;
        if (what) {
            const auto *mouse = static_cast<QMouseEvent *>(event);
            note(u"%1 %2%3 %4,%5"_s.arg(QString::fromLatin1(what), modifiersOf(*mouse))
                     .arg(mouse->button())
                     .arg(mouse->globalPosition().x())
                     .arg(mouse->globalPosition().y()));
        }
        return event->type() == QEvent::ContextMenu;
    }

private:
    void save() const {
        QSaveFile file(m_file);
        if (file.open(QIODevice::WriteOnly) && file.write(toPlainText().toUtf8()) >= 0)
            file.commit();
    }

    void note(const QString &line) {
        m_events.write(line.toUtf8() + '\n');
        m_events.flush();
    }

    QString m_file;
    QFile m_events;
};

} // namespace

int main(int argc, char **argv) {
    QApplication application(argc, argv);
    Target target(application.arguments().value(1));
    target.setWindowTitle(application.arguments().value(2));
    target.resize(700, 400);
    target.show();
    return QApplication::exec();
}
