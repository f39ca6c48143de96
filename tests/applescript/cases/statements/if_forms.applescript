set r to {}
if 1 = 1 then set end of r to "one"
if 1 = 2 then
set end of r to "no"
else if 2 = 2
set end of r to "two"
else
set end of r to "no"
end if
if false then set end of r to 1 else set end of r to "three"
r
