{"12" as integer, "1.5" as real, 2.5 as integer, 3.5 as integer, 5 as text, true as text, {1, 2} as text, {5} as integer, {a:1} as list, missing value as text}
