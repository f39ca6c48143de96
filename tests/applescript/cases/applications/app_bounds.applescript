tell application "Mousepad" to set bounds of front window to {0, 0, 500, 400}
