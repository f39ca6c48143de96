tell application "System Events"
keystroke "x"
end tell
