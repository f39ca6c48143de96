reverse of (characters of "abc") as text
