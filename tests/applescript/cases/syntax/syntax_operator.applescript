return 1 != 2
