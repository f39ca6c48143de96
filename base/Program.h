// What every program of ours does first in main(), so that all start children and hear of their end in one way,
// whatever the one that started it has left behind; and how what it opens for the owner is known. Plain C++.
#pragma once
#include <string>

namespace ombru {

// Before any other thread, once. From here on children leave their status, also under a parent that ignores SIGCHLD,
// which is inherited; writing to a reader that has gone is an error and not the program's end; and each standard stream
// is open, so that no file or pipe of ours gets the number of one. Where HOME is not set, it is that of the account.
void beginProgram();

// Whether this program does not hear that signal now. Whoever takes signals leaves those alone that it was started so
// with: by `nohup`, or by a shell for what runs in the background.
bool ignores(int signal);

// What main() ends with: the status, but 1 and a word among the errors where it would be 0 and what was printed has not
// arrived, as on a full disk.
int statusWhenPrinted(int status);

// "NAME=value" for the environment of what a program of ours opens for the owner, which all that comes of it inherits:
// so it is told from what belongs to the task and ends with it. The word is the keeper's, where there is one.
std::string openedMark();
std::string openedMark(const std::string &word);

} // namespace ombru
