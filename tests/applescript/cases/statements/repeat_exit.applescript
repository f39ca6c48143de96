set n to 0
repeat
set n to n + 1
if n = 4 then exit repeat
end repeat
n
