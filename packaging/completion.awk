# What can be typed behind each command: its options, the commands below it and the choices of its arguments, for the
# three shells, each of which defines begin(), candidate() and end(). `own` is a part of a function's name.
function quoted(text) {
  gsub(/'/, "'\\''", text)
  return "'" text "'"
}
# "-f,--follow" and "TEXT:{on,off}" are two candidates each.
function each(list, separator, meaning, takesValue,   words, total, i) {
  total = split(list, words, separator)
  for (i = 1; i <= total; ++i) candidate($2, words[i], meaning, takesValue)
}
NR == 1 { own = name; gsub(/-/, "_", own); begin(programs) }
$1 == "about" && $2 != last { last = $2; command($2) }
$1 == "command" { candidate($2, $3, $5, 0) }
$1 == "option" { each($3, ",", $5, $4 != "") }
$1 == "argument" && match($4, /\{.*\}/) { each(substr($4, RSTART + 1, RLENGTH - 2), ",", $5, 0) }
END { end() }
