{random number from 1 to 10, random number, random number 5}
