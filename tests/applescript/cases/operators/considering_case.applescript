considering case
{"a" = "A", "abc" contains "B"}
end considering
