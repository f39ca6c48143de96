system attribute "HOME"
