tell application "System Events"
set frontmost of process "Terminal" to true
set visible of process "Mousepad" to false
tell process "Terminal" to set frontmost to true
end tell
