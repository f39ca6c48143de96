repeat with v in {"x"}
return {v is in {"x"}, class of v, length of v}
end repeat
