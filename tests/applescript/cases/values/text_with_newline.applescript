"a
b"
