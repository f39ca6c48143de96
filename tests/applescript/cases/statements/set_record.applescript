set r to {a:1}
set a of r to 2
set r to r & {b:3}
r
