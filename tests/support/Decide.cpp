// ombru-decide allow|deny|forget CLIENT APP...: fills the record of a throw-away home, for rehearsals and attacks.
// Never installed. Refuses the account's own record.
#include "tests/support/Record.h"

#include <QCoreApplication>

#include <cstdio>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

int complain(const QString &what) {
    std::fprintf(stderr, "ombru-decide: %s\n", qPrintable(what));
    return 1;
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    const auto words = QCoreApplication::arguments().sliced(1);
    const std::map<QString, std::optional<bool>> actions{
        {u"allow"_s, true}, {u"deny"_s, false}, {u"forget"_s, std::nullopt}};
    const auto action = words.size() < 3 ? actions.end() : actions.find(words[0]);
    if (action == actions.end())
        return complain(u"usage: ombru-decide allow|deny|forget CLIENT APP..."_s);
    for (const auto &name : words.sliced(2)) {
        if (const auto done = test::writeDecision(words[1], name, action->second); !done)
            return complain(done.error().description);
    }
    return 0;
}
