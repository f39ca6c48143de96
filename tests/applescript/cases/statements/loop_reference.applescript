set r to {}
repeat with v in {"a", "b"}
set end of r to (v = "a")
set end of r to (contents of v = "a")
set end of r to (v as text)
set end of r to v & "!"
end repeat
r
