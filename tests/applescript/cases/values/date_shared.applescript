set a to date "1/31/2026"
set b to a
set month of a to February
b
