on move:a toPlace:b
return a & b
end move:toPlace:
my move:"x" toPlace:"y"
