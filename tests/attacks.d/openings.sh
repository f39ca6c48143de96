# Scripts that have a file opened where the owner has not allowed it, or that dress as one of our own questions.

# Probe opens texts and whatever calls itself an entry; the folder's application is Folders.
openers() {
  application Probe 'MimeType=text/plain;application/x-desktop;application/x-shellscript;'
  application Folders 'MimeType=inode/directory;' 'Categories=FileManager;'
  printf '[Default Applications]\n%s\n' text/plain=probe.desktop application/x-desktop=probe.desktop \
    application/x-shellscript=probe.desktop inode/directory=folders.desktop >"$XDG_CONFIG_HOME/mimeapps.list"
  echo text >"$HOME/notes.txt"
}
mustOpenWhenAllowed() { # mustOpenWhenAllowed SCRIPT
  allow Probe Folders
  script "with timeout of 1 second
$1
end timeout" >/dev/null # Probe shows no window, which opening waits for
  reached Probe || untried "an allowed application is not reached either"
  unreach Probe
}
notReached() { # notReached NUMBER WHAT IT SAID
  reached Probe && through "it was opened"
  [[ $2 == *"($1)"* ]] && held "$(oneLine "$2")"
  through "$2"
}

attack fileForRefused "open location of a file, for a refused application" "-1743"
fileForRefused() {
  openers
  local open="open location \"FILE://localhost$HOME/notes.txt?a#b\""
  mustOpenWhenAllowed "$open"
  refuse Probe
  notReached -1743 "$(script "$open")"
}

attack entryByAddress "open location of a desktop entry, called a text" "refused as a program"
entryByAddress() {
  openers
  mustOpenWhenAllowed "open location \"file://$HOME/notes.txt\""
  cp "$XDG_DATA_HOME/applications/probe.desktop" "$HOME/entry.txt"
  notReached -10000 "$(script "open location \"file://$HOME/entry%2Etxt\"")"
}

attack scriptByAddress "open location of a script that is not executable" "refused as a program"
scriptByAddress() {
  openers
  mustOpenWhenAllowed "open location \"file://$HOME/notes.txt\""
  printf '#!/bin/sh\ntrue\n' >"$HOME/it"
  notReached -10000 "$(script "open location \"file://$HOME/it\"")"
}

attack fileByManager "a file for a refused application, by the file manager" "-1743"
fileByManager() {
  openers
  local open="tell application \"Folders\" to open POSIX file \"$HOME/notes.txt\""
  mustOpenWhenAllowed "$open"
  refuse Probe
  notReached -1743 "$(script "$open")"
}

attack optionAsFile "a program's option as a file to open" "-43"
optionAsFile() {
  openers
  mustOpenWhenAllowed "tell application \"Probe\" to open POSIX file \"$HOME/notes.txt\""
  notReached -43 "$(script "tell application \"Probe\" to open POSIX file \"+!touch $HOME/x\"")"
}

attack dialogAsPrompt "display dialog under the title of ombru's own question" "the title names the program"
dialogAsPrompt() {
  script 'display dialog "Allow?" with title "ombru: allow control of Mail?"' >/dev/null &
  local tries=200 titles
  until titles=$(xwininfo -root -tree | grep -o '".*control of Mail?"'); do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || untried "the dialog did not appear"
    sleep 0.05
  done
  titles=$(head -n 1 <<<"$titles")
  [[ $titles == '"Script of owners-program: '* ]] && held "$titles"
  through "$titles"
}
