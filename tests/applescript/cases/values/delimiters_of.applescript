set text item delimiters of AppleScript to "X"
text items of "1x2X3"
