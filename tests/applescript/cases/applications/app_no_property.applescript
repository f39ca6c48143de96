tell application "Mousepad" to get title of document 1
