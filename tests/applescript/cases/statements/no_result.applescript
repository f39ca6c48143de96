set x to 1
delay 1
