set n to "Mousepad"
tell application n to activate
