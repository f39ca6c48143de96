do shell script "x"
