close access "/tmp/x"
