set r to {}
repeat with i from 3 to 1
set end of r to i
end repeat
r
