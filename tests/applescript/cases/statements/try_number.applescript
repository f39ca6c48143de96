try
try
error number -128
on error number -43
return "no"
end try
on error m number n
return {m, n}
end try
