tell application "System Events"
keystroke "x"
