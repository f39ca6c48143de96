set s to "Hello big world"
{character 1 of s, words of s, word 2 of s, text 1 thru 5 of s, text -5 thru -1 of s, characters 1 thru 3 of s, count words of s, length of s, last word of s, every character of "ab"}
