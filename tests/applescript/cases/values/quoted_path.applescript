quoted form of POSIX path of (path to home folder)
