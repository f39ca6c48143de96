return 1 / 0
