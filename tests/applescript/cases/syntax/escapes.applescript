"a\tb\"c\\d"
