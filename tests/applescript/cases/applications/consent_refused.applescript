tell application "Mousepad"
	activate
end tell
