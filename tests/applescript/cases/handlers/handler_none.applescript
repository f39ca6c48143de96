on f()
return
end f
set x to f()
