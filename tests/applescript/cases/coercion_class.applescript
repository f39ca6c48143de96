x as foo
