// Names and identifiers of macOS's own applications (and of a few that everybody has there), each with the job that it
// does, so that a script written for one reaches what does that job on this desktop. Constant data, any thread.
#pragma once
#include <QStringList>

#include <vector>

namespace ombru {

struct MacApplication {
    QStringList names;
    QString id;
    QStringList preferred; // identifiers of desktop entries that are that very application
    QString type;          // the owner's default for this type does the job, too; may be empty
    QString category;      // what marks applications that do the job; may be empty
};

const std::vector<MacApplication> &macApplications();

} // namespace ombru
