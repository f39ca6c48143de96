# Scripts that try to leave a process or a pressed key behind when their task is stopped, or ombru dies.

# `ombru run` with a task whose script holds Shift and then runs the shell commands. Waits until these are under way.
startTask() { # startTask COMMANDS
  local claude=$HOME/.local/bin/claude
  mkdir -p "${claude%/*}"
  printf '%s\n' "$1" 'touch "$HOME/underway"' 'sleep 338' 'sleep 338' >"$HOME/job.sh"
  printf '%s\n' '{"result": "```applescript\ntell application \"System Events\" to key down shift\n'"$SCRIPT_END"'\n```"}' \
    >"$HOME/reply"
  printf '#!/bin/sh\n[ -e "$HOME/asked" ] && { echo "{\\"result\\": \\"DONE: over\\"}"; exit; }\ntouch "$HOME/asked"\ncat "$HOME/reply"\n' \
    >"$claude"
  chmod +x "$claude"
  decide allow com.ombru.mac "System Events"
  runTask
  underway
}
SCRIPT_END='do shell script \"sh $HOME/job.sh\"'
runTask() {
  # A shell has what it starts beside itself ignore these, and ombru would go on to.
  OMBRU_ATTACK=stop env --default-signal=INT,QUIT "$BIN/ombru" run go >"$HOME/log" 2>&1 &
  OMBRU=$!
}
underway() {
  local tries=200
  until [ -e "$HOME/underway" ]; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || untried "the task did not get going: $(tail -n 1 "$HOME/log")"
    sleep 0.05
  done
}

# What the task has started and still runs. Not what another desktop's has: two may be attacked at once.
left() {
  local process variables
  for process in /proc/[0-9]*; do
    variables=$(tr '\0' '\n' 2>/dev/null <"$process/environ")
    grep -qx OMBRU_ATTACK=stop <<<"$variables" && grep -qxF "HOME=$HOME" <<<"$variables" && cat "$process/comm"
  done
}
keysHeld() { "$BIN/ombru-input-release"; }

# Nothing may be left a second after ombru has gone.
judge() {
  wait "$OMBRU"
  local tries=20
  while [ -n "$(left)" ] && [ $tries -gt 0 ]; do
    tries=$((tries - 1))
    sleep 0.05
  done
  [ -z "$(left)" ] || through "left: $(left | tr '\n' ' ')"
  [ "$(keysHeld)" = 0 ] || through "a key is down"
  held "nothing left, no key down"
}
stopped() { # stopped COMMANDS SIGNAL...
  local signal
  startTask "$1"
  for signal in "${@:2}"; do
    kill -s "$signal" "$OMBRU" 2>/dev/null
    sleep 0.2
  done
  judge
}

NOTHING_LEFT="nothing left, no key down"

attack stopTimeout "Ctrl-C, and timeout in a group of its own" "$NOTHING_LEFT"
stopTimeout() { stopped 'timeout 300 sleep 338 &' INT; }

attack stopPipeline "Ctrl-C, and a pipeline with timeout" "$NOTHING_LEFT"
stopPipeline() { stopped 'timeout 300 sleep 338 | timeout 300 cat &' INT; }

attack stopSession "Ctrl-C, and setsid" "$NOTHING_LEFT"
stopSession() { stopped 'setsid sleep 338 & setsid -f sleep 338' INT; }

attack stopDaemon "Ctrl-C, and a daemon under nohup that is nobody's child" "$NOTHING_LEFT"
stopDaemon() { stopped '(nohup setsid sh -c "trap \"\" TERM INT HUP; sleep 338; sleep 338" >/dev/null 2>&1 &)' INT; }

attack stopDeaf "Ctrl-C twice, and a shell that will not hear" "$NOTHING_LEFT"
stopDeaf() { stopped 'trap "" TERM INT HUP' INT INT; }

attack stopQuit "SIGQUIT" "$NOTHING_LEFT"
stopQuit() { stopped 'setsid sleep 338 &' QUIT; }

attack stopKill "SIGKILL of ombru" "$NOTHING_LEFT"
stopKill() { stopped 'setsid sleep 338 & timeout 300 sleep 338 &' KILL; }

attack stopAbort "SIGABRT of ombru" "$NOTHING_LEFT"
stopAbort() { stopped 'setsid sleep 338 & timeout 300 sleep 338 &' ABRT; }

attack stopKeeper "SIGKILL of the keeper" "$NOTHING_LEFT"
stopKeeper() {
  startTask 'timeout 300 sleep 338 &'
  kill -KILL "$(pgrep -P "$OMBRU" -x ombru-keeper)"
  judge
}

attack stopFlood "more output than is taken" "$NOTHING_LEFT"
stopFlood() {
  SCRIPT_END='set line to \"x\"\nrepeat 20 times\nset line to line & line\nend repeat\nrepeat\nlog line\nend repeat'
  touch "$HOME/underway"
  startTask ''
  judge
}

attack stopWrapper "Ctrl-C, and a claude that is a wrapper script" "$NOTHING_LEFT"
stopWrapper() {
  mkdir -p "$HOME/.local/bin"
  printf '#!/bin/sh\ntimeout 300 setsid sh -c "touch \\"%s/underway\\"; sleep 338"\n' "$HOME" >"$HOME/.local/bin/claude"
  chmod +x "$HOME/.local/bin/claude"
  runTask
  underway
  kill -s INT "$OMBRU"
  judge
}

attack ignoredChildren "a shell's status under a parent that ignores its children" "the shell's own, 3"
ignoredChildren() {
  local said
  said=$(timeout 20 env --ignore-signal=CHLD "$BIN/osascript" -e 'do shell script "exit 3"' 2>&1)
  [[ $said == *"(3)" ]] && held "$(oneLine "$said")"
  through "status $?: $said"
}
