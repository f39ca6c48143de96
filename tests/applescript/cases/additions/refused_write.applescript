write "a" to "/tmp/x"
