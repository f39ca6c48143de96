error "boom"
