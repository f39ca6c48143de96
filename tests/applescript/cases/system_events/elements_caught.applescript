tell application "System Events" to tell process "Mousepad"
try
set found to buttons of window 1
on error number n
set found to n
end try
{found, every window whose name is "Nope", exists action "AXRaise" of window 1, exists action "AXNope" of window 1}
end tell
