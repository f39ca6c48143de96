item 9 of {1, 2}
