tell me to log "§L7"
return 1
