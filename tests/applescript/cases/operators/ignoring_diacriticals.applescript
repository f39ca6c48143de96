ignoring diacriticals and white space
"é x" = "ex"
end ignoring
