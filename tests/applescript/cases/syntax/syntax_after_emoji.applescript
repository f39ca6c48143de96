set x to "👍👍" y
