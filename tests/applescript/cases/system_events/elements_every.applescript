tell application "System Events" to tell process "Mousepad" to get every button of window 1
