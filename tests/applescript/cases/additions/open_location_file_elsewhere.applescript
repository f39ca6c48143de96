set answers to {}
repeat with address in {"file:one.txt", "file://server/home/one.txt", "file:", "file:///one%00.txt"}
	try
		open location (address as text)
		set end of answers to "opened"
	on error message number code
		set end of answers to code
	end try
end repeat
answers
