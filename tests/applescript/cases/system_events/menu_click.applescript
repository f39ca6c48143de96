tell application "System Events"
tell process "Mousepad"
click menu item "Save" of menu 1 of menu bar item "File" of menu bar 1
end tell
end tell
