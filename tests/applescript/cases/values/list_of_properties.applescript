set {n, k} to {length, reverse} of {1, 2, 3}
tell application "System Events"
tell process "Mousepad" to set {p, s} to {position, size} of window 1
set both to {name, position} of window 1 of process "Mousepad"
set {position, size} of window 1 of process "Mousepad" to {{1, 2}, {300, 200}}
end tell
{n, k, p, s, both, {a, b} of {a:1, b:2}, 2 is in {1, 2}}
