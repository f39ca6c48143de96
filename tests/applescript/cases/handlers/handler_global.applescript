global x
set x to 5
f()
return x
on f()
global x
set x to x + 1
end f
