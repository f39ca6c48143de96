on f()
5
end f
f()
