tell application "TextEdit" to make new document with properties {name:"x"}
