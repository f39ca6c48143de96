on f({x, y}, {name:n})
return x & y & n
end f
f({1, 2}, {name:"z"})
