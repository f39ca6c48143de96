tell application "TextEdit" to set URL of document 1 to "http://a.example"
