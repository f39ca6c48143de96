use framework "Foundation"
return 1
