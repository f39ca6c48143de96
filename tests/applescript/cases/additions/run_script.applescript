run script "return 2 + 3"
