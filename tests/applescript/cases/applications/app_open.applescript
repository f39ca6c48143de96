tell application "Mousepad" to open POSIX file "/tmp/a.txt"
