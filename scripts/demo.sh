# The demo: the simulated server on a free port, and the example client that goes through a whole session with it.

simulator=

stop_simulator() {
  [[ -n $simulator ]] || return 0
  kill "$simulator" 2>/dev/null || true
  wait "$simulator" 2>/dev/null || true
  simulator=
}

# start_simulator PRESET: sets `simulator` (process id) and `port`, which the simulator tells on its first lines.
start_simulator() {
  local log=$root/build/$1/veksim.log line
  coproc SIM { exec "${launcher[@]}" "$root/build/$1/veksim$suffix" --port 0 2>"$log"; }
  # shellcheck disable=SC2153
  simulator=$SIM_PID
  exec {told}<&"${SIM[0]}"
  port=
  while [[ -z $port ]] && read -r -t 60 line <&"$told"; do
    line=${line%$'\r'}
    echo "veksim: $line"
    [[ $line =~ ([0-9]+)$ ]] && port=${BASH_REMATCH[1]}
  done
  if [[ -z $port ]]; then
    cat "$log"
    warn "veksim told no port"
    return 1
  fi
  cat <&"$told" >>"$log" &
}

# demo_session PRESET: one run; its exit status is the example client's.
demo_session() {
  local status=0
  launch_as "$1"
  start_simulator "$1" || return 1
  timeout -k 10 120 "${launcher[@]}" "$root/build/$1/session$suffix" --server "127.0.0.1:$port" || status=$?
  stop_simulator
  ((status != 124)) || warn "the example client was not done after 120 s"
  return "$status"
}

dev_demo() {
  local preset=${1:-linux}
  known_preset "$preset"
  need_for_build "$preset"
  need_for_run "$preset"
  build_preset "$preset" || fail "the build failed"
  launch_as "$preset"
  trap 'stop_simulator; wine_stop || true' EXIT
  step "demo ($preset): veksim and the example client" demo_session "$preset" ||
    fail "the demo did not go through; see above and build/$preset/veksim.log"
  verdict "demo ($preset): every step came through"
}
