nosuch(1)
