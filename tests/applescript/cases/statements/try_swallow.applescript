try
error "x"
end try
return 1
