tell application "System Events"
{name of every process, name of first process whose frontmost is true, exists process "Mousepad", exists process "Nope", name of (first application process whose frontmost is true), unix id of process "Terminal", bundle identifier of process 1, count processes}
end tell
