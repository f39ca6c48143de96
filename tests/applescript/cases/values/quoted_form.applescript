quoted form of "it's"
