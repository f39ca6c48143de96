return 1 + foo
