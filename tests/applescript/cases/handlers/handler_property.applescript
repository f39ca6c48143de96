property n : 1
on f()
set n to n + 1
end f
f()
f()
n
