set 5 to 3
