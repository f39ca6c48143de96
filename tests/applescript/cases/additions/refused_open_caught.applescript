try
	open for access "/tmp/x" with write permission
on error message number n
	return {n, message}
end try
