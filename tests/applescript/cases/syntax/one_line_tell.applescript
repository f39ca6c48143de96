tell application "System Events" to keystroke "x"
