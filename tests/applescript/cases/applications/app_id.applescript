tell application id "org.xfce.mousepad" to activate
id of application "Mousepad"
