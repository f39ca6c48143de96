set count to 3
