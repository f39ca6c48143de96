open location "file:///home/me/it.desktop"
