5 + 1
result * 2
