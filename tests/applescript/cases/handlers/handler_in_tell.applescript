on f(x)
return x * 2
end f
tell application "Mousepad"
set a to my f(1)
set b to f(2)
end tell
{a, b}
