tell application "System Events" to tell process "Mousepad" to get value of every static text of window 1
