"abc" as number
