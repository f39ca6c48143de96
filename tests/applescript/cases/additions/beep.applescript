beep
beep 2
return "done"
