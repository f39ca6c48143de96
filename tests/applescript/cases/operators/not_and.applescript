not true or 1 = 1 and not false
