choose file name
