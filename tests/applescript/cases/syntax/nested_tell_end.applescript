tell application "System Events"
tell process "Terminal"
keystroke "q"
end
end
