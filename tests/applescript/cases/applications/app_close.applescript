tell application "Mousepad" to close window "Notes"
