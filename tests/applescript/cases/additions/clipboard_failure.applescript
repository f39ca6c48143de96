set the clipboard to "x"
