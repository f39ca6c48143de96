tell application "System Events"
click at {10, 20}
double click at {1, 2}
right click at {3, 4}
click at {5, 6} using control down
click at {7, 8} using {shift down}
end tell
