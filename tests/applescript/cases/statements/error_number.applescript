error "boom" number 77
