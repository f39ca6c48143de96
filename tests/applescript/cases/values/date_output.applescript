date "2026-11-20 23:29:52"
current date
