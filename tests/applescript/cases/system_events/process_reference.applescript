tell application "System Events"
process "Terminal"
end tell
