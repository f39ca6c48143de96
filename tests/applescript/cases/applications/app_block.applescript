tell application "Mousepad"
activate
launch
quit saving no
end tell
