1 + 2 returning x
x
