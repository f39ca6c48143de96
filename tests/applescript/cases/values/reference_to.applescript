set x to 1
set r to a reference to x
set contents of r to 5
{x, contents of r}
