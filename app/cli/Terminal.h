// The terminal that a command was started from: lines, colours, and one live line below them. Main thread.
#pragma once
#include <QString>

namespace ombru {

enum class Colour { plain, bold, dim, red, green, yellow, blue, magenta, cyan };

// Text from elsewhere as it may be printed: control characters are shown, not obeyed; line breaks and tabs stay.
QString printable(const QString &text);

// What somebody typed, for a message that repeats it: the same, and no longer than can be read.
QString asTyped(const QString &text);

// The text cut to so many columns, with "…" where something is missing.
QString fitColumns(const QString &text, int columns);

class Terminal {
public:
    Terminal();
    ~Terminal(); // takes the live line away

    // Whoever read the output has gone; nothing printed from now on is seen.
    bool isBroken() const { return m_broken; }

    // Somebody watches it, and it can show a live line.
    bool isInteractive() const { return m_interactive; }

    // `status` of a command whose output was seen; otherwise says so among the errors and gives 1.
    int statusWhenSeen(int status) const;

    // One line or several, each followed by a line break; above the live line.
    void print(const QString &text, Colour colour = Colour::plain);

    // One line exactly as it is, for another program to read.
    void printRaw(const QByteArray &line);

    // Replaces the live line; empty takes it away. Does nothing where the output is not a terminal.
    void showLive(const QString &text);

private:
    void write(const QByteArray &bytes);

    bool m_interactive;
    bool m_colours;
    bool m_broken = false;
    QString m_live;
};

} // namespace ombru
