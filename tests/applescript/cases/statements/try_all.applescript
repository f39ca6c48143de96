try
error "msg" number 42 from 1 partial result {2} to integer
on error m number n from f partial result p to t
return {m, n, f, p, t}
end try
