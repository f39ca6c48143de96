tell application "Nope" to activate
