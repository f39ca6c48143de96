considering case
	set AppleScript's text item delimiters to ","
end considering
return {AppleScript's text item delimiters, count text items of "a,b,c"}
