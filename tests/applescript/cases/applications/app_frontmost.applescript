tell application "Mousepad" to return frontmost
