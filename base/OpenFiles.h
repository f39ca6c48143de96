// How many files this process may have open at a time. A server needs one for each connection; what this process starts
// gets the usual number all the same, which old programs rely on (a select() breaks past it). Plain C++.
#pragma once

namespace ombru {

// As many as the system lets this process have, 65,536 at most. Any thread.
void allowManyFiles();

// What a program that is started is to have; 0 when it is what this process has. Any thread.
unsigned long filesOfChildren();

// For this process and what it will start, also between fork and exec; 0 leaves what there is.
void limitFiles(unsigned long most);

} // namespace ombru
