tell application "System Events"
tell process "Mousepad"
set position of window 1 to {5, 6}
set size of window "Notes" to {100, 200}
set {x, y} to position of window 1
end tell
{x, y}
end tell
