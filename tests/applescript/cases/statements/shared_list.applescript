set a to {1}
set b to a
set end of a to 2
set beginning of a to 0
b
