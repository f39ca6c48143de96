set n to 2
set k to 0
repeat with i from 1 to n
set n to 10
set i to 50
set k to k + 1
end repeat
k
