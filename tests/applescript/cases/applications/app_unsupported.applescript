tell application "Mousepad" to make new document
