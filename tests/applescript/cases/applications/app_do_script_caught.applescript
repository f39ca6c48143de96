try
	tell application "TextEdit" to do script "ls"
on error message number n
	return {n, message}
end try
