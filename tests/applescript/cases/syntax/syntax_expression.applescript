set x to
