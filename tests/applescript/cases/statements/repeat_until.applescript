set n to 0
repeat until n ≥ 5
set n to n + 2
end repeat
n
