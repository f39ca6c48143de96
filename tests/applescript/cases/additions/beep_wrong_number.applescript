beep "often"
