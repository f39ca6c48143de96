tell application "Mousepad"
{count windows, name of every window, name of front window, bounds of window 2}
end tell
