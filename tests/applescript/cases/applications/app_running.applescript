{application "Mousepad" is running, application "Terminal" is running, application "Nope" is running, running of application "System Events", application "Terminal" is not running}
