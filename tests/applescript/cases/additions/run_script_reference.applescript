set theProcesses to run script "tell application \"System Events\" to return a reference to (every process whose frontmost is true)"
tell application "System Events" to return name of theProcesses
