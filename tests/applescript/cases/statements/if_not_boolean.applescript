if "maybe" then return 1
