display dialog "x" giving up after 1
