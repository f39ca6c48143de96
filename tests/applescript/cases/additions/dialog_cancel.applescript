display dialog "Hi"
