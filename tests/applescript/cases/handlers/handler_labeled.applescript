on area of w above h given scale:s
return w * h * s
end area
area of 2 above 3 given scale:4
