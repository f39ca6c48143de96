# Scripts that try to reach an application which the owner has refused, or to say yes in the owner's place.

# Whether Probe was left alone, and the script was told that.
heldBack() { # heldBack WHAT THE SCRIPT SAID
  reached Probe && through "it was started"
  [[ $1 == *-1743* ]] && held "$(oneLine "$1")"
  through "$1"
}

attack refusedEvent "an event to a refused application, by a name put together" "-1743"
refusedEvent() {
  application Probe
  allow Probe
  script 'tell application "Probe" to launch' >/dev/null
  reached Probe || untried "an allowed application is not reached either"
  unreach Probe
  refuse Probe
  local said
  said=$(script 'run script "tell application \"Pro" & "be\" to launch"')
  heldBack "$said"
}

attack shellsOwnScript "the same in an osascript of do shell script" "-1743"
shellsOwnScript() {
  application Probe
  refuse Probe
  local said
  said=$(script "do shell script \"'$BIN/osascript' -e 'tell application \\\"Probe\\\" to launch'\"")
  heldBack "$said"
}

attack scriptDecides "ombru consent allow in a script" "refused, nothing recorded"
scriptDecides() {
  application Probe
  local said
  said=$(script "do shell script \"'$BIN/ombru' consent allow --for '$CLIENT' Probe\"")
  "$BIN/ombru" consent list --json | grep -q '"application":"probe"' && through "it is recorded"
  [[ $said == *"cannot decide"* ]] && held "$(oneLine "$said")"
  through "$said"
}

attack ownTerminal "ombru consent allow on a terminal that a program answers on" "refused, nothing recorded"
ownTerminal() {
  application Probe
  printf '%s\n' "{ sleep 3; echo \"\$1\"; } | env -u DISPLAY -u WAYLAND_DISPLAY script -qefc \\
    \"'$BIN/ombru' consent allow --for '$CLIENT' Probe\" \"\$1.log\" >/dev/null" >answer
  local tries=200
  setsid -f env -u DISPLAY -u WAYLAND_DISPLAY sh answer no
  until grep -q 'Type "yes"' no.log 2>/dev/null; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || untried "nobody is asked where there is no display either"
    sleep 0.05
  done
  sh answer yes
  "$BIN/ombru" consent list --json | grep -q '"application":"probe"' && through "it is recorded"
  grep -q "has a display" yes.log && held "$(grep -a "has a display" yes.log)"
  through "$(cat yes.log)"
}
