# The help of one command, as CLI11 prints it, as lines of words: kind, command, word, value, meaning.
function emit(kind, word, value, meaning) { print kind "\t" command "\t" word "\t" value "\t" meaning }
function flush() {
  if (word != "") emit(kind, word, value, meaning)
  word = ""
}
/^Usage: / { emit("about", "", "", about); emit("usage", "", "", substr($0, 8)); begun = 1; next }
!begun { if ($0 != "") about = about (about == "" ? "" : " ") $0; next }
/^Positionals:$/ { kind = "argument"; next }
/^Options:$/ { flush(); kind = "option"; next }
/^Subcommands:$/ { flush(); kind = "command"; next }
kind != "notes" && /^  [^ ]/ {
  flush()
  line = substr($0, 3)
  gap = match(line, /   +/)
  meaning = gap ? substr(line, gap + RLENGTH) : ""
  label = gap ? substr(line, 1, gap - 1) : line
  sub(/ +$/, "", label)
  blank = index(label, " ")
  word = blank ? substr(label, 1, blank - 1) : label
  value = blank ? substr(label, blank + 1) : ""
  sub(/ *(Needs|Excludes): .*/, "", value)
  empty = 0
  next
}
kind != "notes" && /^          / { sub(/^ +/, ""); meaning = $0; next }
kind != "notes" && /^$/ { if (++empty > 1) { flush(); kind = "notes" } else flush(); next }
kind == "notes" { emit("notes", "", "", $0) }
END { flush() }
