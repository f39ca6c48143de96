set x to the length of "abc"
