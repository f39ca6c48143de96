tell application "System Events"
name of every process whose background only is false and name contains "t"
end tell
