do shell script "echo " & quoted form of "a b" & " done"
