# Completions for fish.
function begin(all) { print "# What these programs understand. Written by the build from their --help." }
function command(path) { if (path ~ / /) known = known " " quoted(path) }
function candidate(path, word, meaning, takesValue,   program, option) {
  program = path
  sub(/ .*/, "", program)
  if (word ~ /^--/) option = "-l " substr(word, 3)
  else if (word ~ /^-/) option = "-s " substr(word, 2)
  else option = "-f -a " quoted(word)
  lines[++total] = "complete -c " program " -n \"__" own "_at " quoted(path) "\" " option (takesValue ? " -r" : "") " -d " quoted(meaning)
}
function end(   i) {
  print "function __" own "_at"
  print "    set -l words (commandline -opc)"
  print "    set -l path (basename -- $words[1])"
  print "    for word in $words[2..-1]"
  print "        contains -- \"$path $word\"" known
  print "        and set path \"$path $word\""
  print "    end"
  print "    test \"$path\" = \"$argv\""
  print "end"
  for (i = 1; i <= total; ++i) print lines[i]
}
