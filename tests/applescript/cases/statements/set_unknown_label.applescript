set r to {a:1}
set zz of r to 2
