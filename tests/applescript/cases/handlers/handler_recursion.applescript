on fact(n)
if n ≤ 1 then return 1
return n * fact(n - 1)
end fact
fact(10)
