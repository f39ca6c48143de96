(do shell script "n" as integer) + 1
