tell application "System Events"
set r to ""
repeat with p in (every process)
set r to r & name of p & ":" & (count windows of p) & " "
end repeat
r
end tell
