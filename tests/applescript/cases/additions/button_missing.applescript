tell application "System Events"
tell process "Mousepad" to click button 1 of window 1
end tell
