{name of application id "org.gnome.Terminal", name of application "mousepad"}
