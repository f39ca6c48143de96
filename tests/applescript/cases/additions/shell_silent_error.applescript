try
do shell script "x"
on error m number n
{m, n}
end try
