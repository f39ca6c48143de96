error
