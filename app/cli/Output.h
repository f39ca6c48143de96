// Where a command tells what it has to say: the terminal it was typed on, which may be at the other end of the
// application's door. Main thread.
#pragma once
#include <QByteArray>
#include <QString>

namespace ombru {

enum class Colour { plain, bold, dim, red, green, yellow, blue, magenta, cyan };

class Output {
public:
    virtual ~Output() = default;

    // One line or several, each followed by a line break; above the live line.
    virtual void print(const QString &text, Colour colour = Colour::plain) = 0;

    // One line exactly as it is, for another program to read.
    virtual void printRaw(const QByteArray &line) = 0;

    // Replaces the live line; empty takes it away. Does nothing where the output is not a terminal.
    virtual void showLive(const QString &text) = 0;

    // One line among the errors.
    virtual void complain(const QString &text) = 0;

    // `status` of a command whose output was seen; otherwise says so among the errors and gives 1.
    virtual int statusWhenSeen(int status) const = 0;
};

} // namespace ombru
