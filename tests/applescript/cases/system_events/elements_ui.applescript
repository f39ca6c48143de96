tell application "System Events" to get UI elements of window 1 of process "Mousepad"
