// The pictures of the screen that tasks have left, and how long they stay. Any thread.
#pragma once
#include <QString>
#include <QStringList>

namespace ombru {

// Removes from that directory the screenshots that are older than so many days, by the time in their names; with no days
// those of the task, and all of more than an hour ago. Whatever has another name, and what is no plain file, stays. What
// cannot be read or removed is in the system log.
void removeScreenshots(const QString &directory, int days, const QStringList &ofTask);

} // namespace ombru
