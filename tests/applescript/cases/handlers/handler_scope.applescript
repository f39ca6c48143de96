set x to 5
f()
on f()
return x
end f
