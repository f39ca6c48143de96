{-7 mod 3, 7 mod -3, -7 div 2}
