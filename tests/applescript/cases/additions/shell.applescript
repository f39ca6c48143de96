do shell script "ls"
