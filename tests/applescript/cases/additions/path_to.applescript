{POSIX path of (path to desktop), path to home folder as text, POSIX path of (path to documents folder)}
