set the clipboard to "abc"
the clipboard
