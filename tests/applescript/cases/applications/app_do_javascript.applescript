tell application "TextEdit"
	do JavaScript "1" in document 1
end tell
