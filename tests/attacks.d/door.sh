# Answers that the owner did not mean, and programs that pass for ombru.

# Opens the question about Probe, and waits until it takes answers.
question() {
  application Probe
  "$BIN/ombru-consent-prompt" --client com.ombru.mac --application probe >/dev/null 2>&1 &
  ASKING=$!
  local tries=100
  until shown; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || untried "no question opened"
    sleep 0.05
  done
}
shown() { xdotool search --onlyvisible --name '^ombru: allow control of' "$@" 2>/dev/null; }
answered() { ! kill -0 "$ASKING" 2>/dev/null; }
isAllowed() { "$BIN/ombru" consent list --json | grep -q '"allowed":true,"application":"probe"'; }

# Does it for longer than the question's pause; then the owner refuses.
keepDoing() {
  local tries
  for tries in $(seq 15); do
    answered && break
    "$@"
    sleep 0.15
  done
  isAllowed && through "it is allowed"
  until answered; do shown windowactivate --sync key Escape >/dev/null; sleep 0.2; done
  isAllowed && through "it is allowed"
}
clickInto() {
  xdotool mousemove 2 2
  eval "$(shown getwindowgeometry --shell)"
  xdotool mousemove --window "$WINDOW" $((WIDTH - 50)) $((HEIGHT - 30)) click 1
}

attack heldKey "Alt held down before the question opens, then the owner's a" "no answer"
heldKey() {
  xdotool keydown alt
  question
  keepDoing xdotool key a
  held "nothing was allowed"
}

attack parkedPointer "the pointer where Allow will be, then the owner's click" "no answer"
parkedPointer() {
  question
  eval "$(shown getwindowgeometry --shell)"
  xdotool mousemove --window "$WINDOW" $((WIDTH - 50)) $((HEIGHT - 30))
  kill "$ASKING"
  question
  keepDoing xdotool click 1
  decide forget com.ombru.mac Probe
  question
  until answered; do clickInto; sleep 0.3; done
  isAllowed || untried "the owner's own click does not allow it either"
  held "nothing was allowed"
}

attack ombruBesideACopy "a program called ombru beside a copy of osascript" "-1743"
ombruBesideACopy() {
  application Probe
  decide allow com.ombru.mac Probe
  mkdir evil && cp "$BIN/osascript" evil/ && cp "$(command -v timeout)" evil/ombru
  local said
  said=$(DISPLAY='' evil/ombru 60 evil/osascript -e 'tell application "Probe" to launch' 2>&1)
  reached Probe && through "it was started"
  [[ $said == *-1743* ]] && held "$(oneLine "$said")"
  through "$said"
}

attack ombruBelowAScript "a real ombru that another program's script starts" "-1743"
ombruBelowAScript() {
  application Probe
  decide allow com.ombru.mac Probe
  local stage=$BIN/../tests/stage said
  said=$("$stage/ombru" -c "'$stage/osascript' -e 'tell application \"Probe\" to launch'; exit \$?" 2>&1)
  reached Probe || untried "ombru's own scripts do not reach it either: $said"
  unreach Probe
  printf '%s\n' "'$stage/ombru' -c \"'$stage/osascript' -e 'tell application \\\"Probe\\\" to launch'; exit \\\$?\"" >inner
  said=$(script "do shell script \"sh '$PWD/inner'\"")
  reached Probe && through "it was started"
  [[ $said == *-1743* ]] && held "$(oneLine "$said")"
  through "$said"
}

attack unshared "ombru consent allow in a namespace of its own" "refused, nothing recorded"
unshared() {
  application Probe
  refuse Probe
  local said
  said=$(unshare -rpf "$BIN/ombru" consent allow --for "$CLIENT" Probe 2>&1) && through "$said"
  [[ $said == *"cannot decide"* || $said == *unshare* ]] && held "$(oneLine "$said")"
  through "$said"
}
