log "hello"
log {1, "a"}
