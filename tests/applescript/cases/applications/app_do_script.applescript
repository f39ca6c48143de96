tell application "TextEdit" to do script "ls" in window 1
