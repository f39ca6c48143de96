tell application "System Events" to tell process "Mousepad" to exists sheet 1 of window 1
