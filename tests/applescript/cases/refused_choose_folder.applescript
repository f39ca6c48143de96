choose folder
