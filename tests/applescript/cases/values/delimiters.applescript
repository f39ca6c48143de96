set AppleScript's text item delimiters to ", "
set x to text items of "a, b, c"
set AppleScript's text item delimiters to "-"
x as text
