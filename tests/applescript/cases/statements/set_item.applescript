set L to {1, 2, 3}
set item 2 of L to "x"
set last item of L to "z"
L
