set a to {1}
copy a to b
set end of a to 2
b
