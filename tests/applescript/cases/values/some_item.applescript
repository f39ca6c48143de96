some item of {1, 2, 3}
