tell application "System Events" to get every UI element of process "Mousepad"
