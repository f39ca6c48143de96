say "hi"
