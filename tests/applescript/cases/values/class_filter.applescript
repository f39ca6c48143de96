{every integer of {1, "a", 2}, every text of {1, "a"}, count integers of {1, "a"}}
