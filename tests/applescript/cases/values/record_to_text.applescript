{a:1} as text
