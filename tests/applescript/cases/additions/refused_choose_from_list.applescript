choose from list {"a", "b"} with prompt "Which?"
