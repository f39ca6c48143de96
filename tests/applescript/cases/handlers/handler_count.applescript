on f(a)
a
end f
f(1, 2)
