open location "file:///home/me/two%20words.txt"
open location "  FILE://LOCALHOST/home/me/one.txt?query#part"
open location "file:/home/me/"
