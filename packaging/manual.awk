# The manual page of one program out of the words of all.
function roff(text) {
  gsub(/\\/, "\\e", text)
  gsub(/-/, "\\-", text)
  if (text ~ /^[.']/) text = "\\&" text
  return text
}
function belongs(command) { return command == program || index(command, program " ") == 1 }
function entries(command, kind, title,   i) {
  for (i = 1; i <= count[command, kind]; ++i) {
    if (i == 1 && title != "") print ".SH " title
    print ".TP\n" entry[command, kind, i]
  }
}
function named(word, value) {
  gsub(/,/, ", ", word)
  sub(/=.*| (\.\.\. )?REQUIRED/, "", value)
  sub(/^TEXT:/, "", value)
  sub(/^INT:INT in /, "", value)
  return "\\fB" roff(word) "\\fR" (value == "" ? "" : " \\fI" roff(value) "\\fR")
}
# Lines that are set in stand as they are.
function notes(command,   i, line, verbatim) {
  print ".PP"
  for (i = 1; i <= count[command, "notes"]; ++i) {
    line = entry[command, "notes", i]
    if ((line ~ /^  /) != verbatim) print (verbatim = !verbatim) ? ".nf" : ".fi"
    print line == "" ? ".PP" : line
  }
  if (verbatim) print ".fi"
}
!belongs($2) { next }
!($2 in known) { known[$2] = 1; commands[++total] = $2 }
$1 == "about" { about[$2] = $5; next }
$1 == "usage" { usage[$2] = roff($5); next }
$1 == "notes" {
  entry[$2, "notes", ++count[$2, "notes"]] = roff($5)
  wording[$2] = wording[$2] $5 "\n"
  next
}
$1 == "option" && $3 ~ /--help$/ && $2 != program { next }
{ entry[$2, $1, ++count[$2, $1]] = ($1 == "argument" ? "\\fI" roff($3) "\\fR" : named($3, $4)) "\n" roff($5) }
END {
  print ".TH " toupper(program) " 1 \"\" \"ombru " version "\" \"User Commands\""
  brief = tolower(substr(about[program], 1, 1)) substr(about[program], 2)
  sub(/\.$/, "", brief)
  print ".SH NAME\n" program " \\- " roff(brief)
  print ".SH SYNOPSIS\n" usage[program]
  entries(program, "argument", "ARGUMENTS")
  entries(program, "option", "OPTIONS")
  if (total > 1) print ".SH COMMANDS"
  for (i = 2; i <= total; ++i) {
    print ".SS " usage[commands[i]] "\n" roff(about[commands[i]]) "."
    entries(commands[i], "argument", "")
    entries(commands[i], "option", "")
    parent = commands[i]
    sub(/ [^ ]*$/, "", parent)
    if (wording[commands[i]] != wording[parent] && wording[commands[i]] != wording[program]) notes(commands[i])
  }
  if (wording[program] != "") { print ".SH NOTES"; notes(program) }
  print ".SH SEE ALSO"
  others = split(all, programs, " ")
  for (i = 1; i <= others; ++i)
    if (programs[i] != program) line = line (line == "" ? "" : ", ") "\\fB" roff(programs[i]) "\\fR(1)"
  print line
}
