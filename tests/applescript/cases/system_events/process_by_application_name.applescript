tell application "System Events"
tell process "TextEdit" to set w to name of window 1
{w, exists process "TextEdit", exists process "Mail", name of process "textedit"}
end tell
