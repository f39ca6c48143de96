script a
on hi()
return "a " & my who()
end hi
on who()
return "A"
end who
end script
script b
property parent : a
on who()
return "B"
end who
end script
b's hi()
