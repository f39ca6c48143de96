repeat with v in {"a", "b"}
return v
end repeat
