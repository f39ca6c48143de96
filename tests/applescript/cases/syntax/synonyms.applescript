{1 is equal to 1, 1 equals 2, 2 is greater than 1, 2 is less than or equal to 2, "a" comes before "b", "b" comes after "a", 3 is not greater than 2, 1 ≤ 2, 1 >= 2, 1 /= 2}
