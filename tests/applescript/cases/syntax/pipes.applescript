set |a b| to 3
return |a b| + 1
