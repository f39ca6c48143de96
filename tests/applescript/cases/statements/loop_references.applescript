set r to {}
repeat with v in {"a"}
set end of r to v
end repeat
r
