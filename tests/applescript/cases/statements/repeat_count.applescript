set r to {}
repeat with i from (count of {1, 2, 3}) to 1 by -1
set end of r to i
end repeat
r
