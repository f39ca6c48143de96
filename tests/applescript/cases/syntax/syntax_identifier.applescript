set x to 5 y
