date "2:30 am" of date "1/2/2026"
