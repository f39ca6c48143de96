{1 isn’t 2, "abc" doesn't contain "x", 3 does not equal 3}
