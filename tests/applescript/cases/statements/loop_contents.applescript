set L to {1, 2}
repeat with v in L
set contents of v to v * 10
end repeat
L
