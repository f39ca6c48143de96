tell application "TextEdit" to get URL of current tab of front window
