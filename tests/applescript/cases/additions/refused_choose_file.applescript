choose file with prompt "Which?"
