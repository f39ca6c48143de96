# Scripts that work an application by keys, clicks and its windows, because System Events is allowed and it is not.

windowOf() { # windowOf NAME: waits until a window with that name is in front, where it stays
  local tries=200
  until xprop -id "$(xprop -root -f _NET_ACTIVE_WINDOW 0x ' $0\n' _NET_ACTIVE_WINDOW | cut -d' ' -f2)" WM_NAME |
    grep -q "\"$1"; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || untried "$1 has shown no window"
    sleep 0.05
  done
}

# A terminal that writes into $HOME/typed what reaches it, in front.
terminal() {
  xterm -T victim "$@" -e sh -c 'cat >"$HOME/typed"' &
  windowOf victim
  allow "System Events"
}
typed() { [ -s "$HOME/typed" ]; }

mustType() {
  script 'tell application "System Events" to keystroke "x" & return' >/dev/null
  local tries=100
  until typed; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || untried "an allowed terminal gets no keys either"
    sleep 0.05
  done
  : >"$HOME/typed"
}
refusedAndNotTyped() { # refusedAndNotTyped WHAT IT SAID
  typed && through "it was typed"
  [[ $1 == *"Not authorized to send Apple events to"*"(-1743)" ]] && held "$(oneLine "$1")"
  through "$1"
}

attack keysIntoTerminal "System Events types a command into a terminal" "-1743, nothing typed"
keysIntoTerminal() {
  terminal
  allow XTerm
  mustType
  decide forget "$CLIENT" XTerm
  refusedAndNotTyped "$(script 'tell application "System Events" to keystroke "touch x" & return')"
}

attack keysIntoDisguised "the same, with a terminal that calls itself an editor" "-1743, nothing typed"
keysIntoDisguised() {
  terminal -class Mousepad -name mousepad
  allow XTerm
  mustType
  decide forget "$CLIENT" XTerm
  refusedAndNotTyped "$(script 'tell application "System Events" to keystroke "touch x" & return')"
}

attack codesIntoRefused "key codes, and keys held, for a refused application" "-1743, nothing typed"
codesIntoRefused() {
  terminal
  allow XTerm
  mustType
  refuse XTerm
  local said
  said=$(script 'tell application "System Events" to key code {0, 36}')
  typed && through "key code 0 was typed"
  [[ $said == *-1743* ]] || through "$said"
  refusedAndNotTyped "$(script 'tell application "System Events" to key down command')"
}

# A window of an application that nothing is decided about, in front; it writes down what it gets.
editor() {
  "$BIN/../tests/input-target" "$HOME/written" editor &
  windowOf editor
}

attack heldIntoRefused "a key held in one window when a refused one gets the focus" "nothing typed"
heldIntoRefused() {
  terminal
  allow XTerm
  mustType
  editor
  decide forget "$CLIENT" XTerm
  xset r rate 50 50
  script 'tell application "System Events"
    key down 0
    do shell script "xdotool search --name ^victim windowactivate --sync"
    delay 1
    do shell script "xdotool key Return"
    key up 0
  end tell' >/dev/null
  local tries=100
  until typed; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || untried "the terminal has not got the focus"
    sleep 0.05
  done
  tr -d "\0" <"$HOME/typed" | grep -q a && through "it was typed"
  grep -q a "$HOME/written" || untried "the key did not reach the window in front either"
  held "nothing was typed"
}

attack menuBetweenKeys "a refused application's menu opens while a long text is typed" "-1743, the rest is not typed"
menuBetweenKeys() {
  terminal
  refuse XTerm
  editor
  script 'set much to ""
  repeat 4000 times
    set much to much & "on and on "
  end repeat
  tell application "System Events" to keystroke much' >said &
  local typing=$! tries=200
  until [ -s "$HOME/written" ]; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || untried "nothing is typed into what may be reached: $(cat said)"
    sleep 0.05
  done
  xdotool mousemove --window "$(xdotool search --name '^victim')" 5 5 keydown ctrl mousedown 1
  wait $typing
  xdotool mouseup 1 keyup ctrl
  [ "$(wc -c <"$HOME/written")" -lt 40000 ] && [[ $(cat said) == *-1743* ]] && held "$(oneLine "$(cat said)")"
  through "$(wc -c <"$HOME/written") characters were typed; $(cat said)"
}

attack windowOfRefused "System Events closes and moves a refused application's window" "-1743, it stays"
windowOfRefused() {
  terminal
  allow XTerm
  local said statement
  said=$(script 'tell application "System Events" to set position of window 1 of process 1 to {90, 90}')
  [ "$said" = "90, 90" ] || untried "an allowed window is not moved either: $said"
  refuse XTerm
  for statement in 'set frontmost of first process whose name contains "term" to true' \
    'set position of window 1 of (first process whose name contains "term") to {7, 7}' \
    'tell process 1 to perform action "AXRaise" of window 1'; do
    said=$(script "tell application \"System Events\" to $statement")
    [[ $said == *-1743* ]] || through "$statement: $said"
  done
  xwininfo -name victim >/dev/null 2>&1 || through "the window has gone"
  held "$(oneLine "$said")"
}

attack clickOnRefused "System Events clicks where a refused application is" "-1743"
clickOnRefused() {
  terminal
  allow XTerm
  local at
  at=$(xwininfo -name victim | awk '/Absolute upper-left X/ { x = $NF } /Absolute upper-left Y/ { y = $NF }
                                    END { print x + 20 ", " y + 20 }')
  local said
  said=$(script "tell application \"System Events\" to click at {$at}")
  [ -z "$said" ] || untried "an allowed one is not clicked either: $said"
  refuse XTerm
  said=$(script "tell application \"System Events\" to click at {$at}")
  [[ $said == *-1743* ]] && held "$(oneLine "$said")"
  through "$said"
}

attack keysIntoPrivacy "System Events presses keys in the privacy settings" "-1743"
keysIntoPrivacy() {
  allow "System Events"
  "$BIN/ombru-privacy" &
  windowOf "ombru: privacy"
  local said
  said=$(script 'tell application "System Events" to keystroke "f" using option down')
  [[ $said == *"events to ombru."*-1743* ]] && held "$(oneLine "$said")"
  through "$said"
}
