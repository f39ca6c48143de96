tell application "System Events"
get frontmost of process "Nope"
end tell
