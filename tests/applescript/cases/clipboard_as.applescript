(the clipboard as text) & "!"
