tell application "TextEdit" to get text area 1 of document 1
