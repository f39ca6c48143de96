get eof "/tmp/x"
