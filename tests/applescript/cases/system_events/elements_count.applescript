tell application "System Events" to tell process "Mousepad" to count buttons of window 1
