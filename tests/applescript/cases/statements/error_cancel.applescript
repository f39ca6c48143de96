error number -128
