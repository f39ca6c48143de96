"5" as {integer, text}
