on f(x)
return {name:x}
end f
{name of f(1), f(2) of me, my f(3)'s name}
