{1st item of {7, 8}, 2nd character of "abc", second word of "a b"}
