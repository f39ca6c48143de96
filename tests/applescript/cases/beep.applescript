beep
