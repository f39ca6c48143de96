# Completions for bash. Where nothing is known, bash completes file names.
function begin(all) {}
function command(path) { paths[++total] = path }
function candidate(path, word, meaning, takesValue) { words[path] = words[path] " " word }
function end(   i) {
  print "# What these programs understand. Written by the build from their --help."
  print "_" own "() {"
  print "  local path=${1##*/} i words"
  print "  for ((i = 1; i < COMP_CWORD; ++i)); do"
  print "    case \"$path ${COMP_WORDS[i]}\" in"
  for (i = 1; i <= total; ++i)
    if (paths[i] ~ / /) alternatives = alternatives (alternatives == "" ? "" : " | ") quoted(paths[i])
  print "      " alternatives ") path+=\" ${COMP_WORDS[i]}\" ;;"
  print "    esac"
  print "  done"
  print "  case $path in"
  for (i = 1; i <= total; ++i) print "    " quoted(paths[i]) ") words=" quoted(substr(words[paths[i]], 2)) " ;;"
  print "  esac"
  print "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$2\")"
  print "}"
  print "complete -o default -F _" own " " programs
}
