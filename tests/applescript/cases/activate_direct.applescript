activate application "Terminal"
