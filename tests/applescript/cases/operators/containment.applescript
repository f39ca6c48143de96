{"abc" contains "B", "abc" starts with "A", "abc" begins with "b", "abc" ends with "C", 2 is in {1, 2}, {1} is not contained by {1, 2}, "b" is in "abc", {a:1, b:2} contains {a:1}}
