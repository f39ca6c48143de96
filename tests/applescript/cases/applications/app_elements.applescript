tell application "Mousepad" to get every text area of window 1
