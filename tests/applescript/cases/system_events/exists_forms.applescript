tell application "System Events"
if not (exists process "Nope") and (process "Mousepad" exists) then return "right"
end tell
