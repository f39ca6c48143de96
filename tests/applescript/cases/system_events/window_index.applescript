tell application "System Events" to get name of window 9 of process "Mousepad"
