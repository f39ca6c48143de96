on f(a, b)
return a + b
end f
f(1, 2)
