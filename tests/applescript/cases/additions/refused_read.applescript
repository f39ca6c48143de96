set theText to read "/tmp/x" as text
