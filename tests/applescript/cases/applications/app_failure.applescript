tell application "Mousepad" to activate
