// How a program that a test ran has ended, and what it said; shown when an expectation fails.
#pragma once
#include <QString>

#include <ostream>

namespace ombru::test {

struct Outcome {
    int status = -1;
    QString out;
    QString err;
};

inline std::ostream &operator<<(std::ostream &stream, const Outcome &outcome) {
    return stream << "status " << outcome.status << ", output \"" << outcome.out.toStdString() << "\", errors \""
                  << outcome.err.toStdString() << '"';
}

} // namespace ombru::test
