tell application "System Events"
perform action "AXRaise" of window 2 of process "Mousepad"
end tell
