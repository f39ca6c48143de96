id of application "Nope"
