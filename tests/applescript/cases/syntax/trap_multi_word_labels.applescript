button returned of {button returned:"OK", gave up:false}
