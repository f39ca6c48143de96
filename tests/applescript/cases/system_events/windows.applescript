tell application "System Events" to tell process "Mousepad"
{name of windows, position of window 1, size of front window, title of window 2, exists window "Notes", exists window "x", count windows}
end tell
