tell application "System Events" to tell process "Terminal" to return {its name, name of it}
