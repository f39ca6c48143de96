set {tid, text item delimiters} to {text item delimiters, {";", ","}}
set x to text items of "a;b,c"
set text item delimiters to tid
{count x, x as text, tid}
