tell application "System Events"
key code 36
key code {1, 2} using {shift down}
key down command
key down shift
key up {command, shift}
key down 53
end tell
