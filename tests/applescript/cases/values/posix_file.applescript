{POSIX file "/tmp/a.txt", POSIX path of (POSIX file "/tmp/a.txt"), POSIX path of ("Macintosh HD:Users:me" as alias), (POSIX file "/tmp/a") as text}
