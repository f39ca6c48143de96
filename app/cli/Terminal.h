// The terminal that a command was started from: lines, colours, and one live line below them. Main thread.
#pragma once
#include "app/cli/Output.h"

#include <QString>

#include <memory>

class QSocketNotifier;

namespace ombru {

// Text from elsewhere as it may be printed: control characters are shown, not obeyed, and so are characters that nobody
// sees or that turn others round; line breaks and tabs stay.
QString printable(const QString &text);

// What somebody typed, for a message that repeats it: the same, and no longer than can be read.
QString asTyped(const QString &text);

// The text cut to so many columns, with "…" where something is missing.
QString fitColumns(const QString &text, int columns);

class Terminal final : public Output {
public:
    Terminal();
    ~Terminal() override; // takes the live line away

    // Whoever read the output has gone, or does not read on while the owner wants an end; nothing printed from now on
    // is seen.
    bool isBroken() const { return m_broken; }

    // While it is so, what the reader does not take yet is kept for later, up to some megabytes, and does not hold up
    // whoever prints; then all of it waits for the reader. With an event loop.
    void setPatient(bool patient);

    // Somebody watches it, and it can show a live line.
    bool isInteractive() const { return m_interactive; }

    // Of all of them in this program: the status, but 1 and a word among the errors where it would be 0 and some of
    // what was printed was not seen.
    static int statusWhenAllSeen(int status);

    int statusWhenSeen(int status) const override;
    void print(const QString &text, Colour colour = Colour::plain) override;
    void printRaw(const QByteArray &line) override;
    void showLive(const QString &text) override;
    void complain(const QString &text) override;

private:
    void write(const QByteArray &bytes);
    qsizetype writePiece(QByteArrayView bytes); // how much of it was taken
    void giveUp();

    bool m_interactive;
    bool m_colours;
    bool m_broken = false;
    QString m_live;
    bool m_patient = false;
    QByteArray m_unread;
    std::unique_ptr<QSocketNotifier> m_onReader;
};

} // namespace ombru
