do shell script "ls" without altering line endings
