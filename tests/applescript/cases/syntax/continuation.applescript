set x to 1 + ¬
  2 + ¬ -- more
  3
return x
