tell application "TextEdit" to count documents
