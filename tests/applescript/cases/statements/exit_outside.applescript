exit repeat
