set x to "👍"
foo
