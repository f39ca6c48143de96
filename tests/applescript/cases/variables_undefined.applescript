return foo
