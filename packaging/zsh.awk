# Completions for zsh. Where nothing is known, file names.
function begin(all) {
  print "#compdef " all
  print "# What these programs understand. Written by the build from their --help."
  print "local path_=$service word"
  print "local -a known candidates"
}
function command(path) { if (path ~ / /) known = known " " quoted(path); paths[++total] = path }
function candidate(path, word, meaning, takesValue) {
  gsub(/:/, "\\:", word)
  list[path] = list[path] "\n    " quoted(word ":" meaning)
}
function end(   i) {
  print "known=(" substr(known, 2) ")"
  print "for word in ${words[2,CURRENT-1]}; do"
  print "  (( ${known[(Ie)$path_ $word]} )) && path_+=\" $word\""
  print "done"
  print "case $path_ in"
  for (i = 1; i <= total; ++i) print "  " quoted(paths[i]) ") candidates=(" list[paths[i]] ") ;;"
  print "esac"
  print "_describe -o '" name "' candidates || _files"
}
