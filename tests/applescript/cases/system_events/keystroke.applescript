tell application "System Events"
keystroke "héllo 👍"
keystroke return
keystroke "v" using {command down}
keystroke "s" using command down
keystroke "z" using {command down, shift down}
keystroke "a" using {command, option}
keystroke "b" using control
end tell
