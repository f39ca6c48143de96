script counter
property n : 0
on add(k)
set n to n + k
return n
end add
end script
tell counter to add(2)
counter's add(3)
n of counter
