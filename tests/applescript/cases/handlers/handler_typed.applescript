on f(a as integer)
a + 1
end f
f("4")
