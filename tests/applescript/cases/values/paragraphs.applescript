paragraphs of ("a" & return & "b" & linefeed & "c
d")
