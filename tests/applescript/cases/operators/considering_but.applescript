considering case but ignoring white space
{"A b" = "Ab", "a" = "A"}
end considering
