zz of {a:1}
