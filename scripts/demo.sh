# The demo: the simulated server on a free port, and the example clients, one of which runs a complete session. Over
# shared memory a gateway runs between them as a separate process.

simulator='' gateway=''

# Returns the simulator's exit status. A Windows program cannot be asked to end and is killed.
stop_simulator() {
  local status=0
  [[ -n $simulator ]] || return 0
  kill "$simulator" 2>/dev/null || true
  wait "$simulator" 2>/dev/null || status=$?
  simulator=
  [[ -n $suffix ]] || return "$status"
}

simulator_options=(--request-rate 5/200)

# start_simulator PRESET: sets `simulator` (process id) and `port`, printed at the end of one of its first
# lines. The other lines go to a log.
start_simulator() {
  local log=$root/build/$1/veksim.log line
  coproc SIM { exec "${launcher[@]}" "$root/build/$1/veksim$suffix" --port 0 --mode 1 --key demo "${simulator_options[@]}" 2>"$log"; }
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
    warn "veksim printed no port"
    return 1
  fi
  cat <&"$told" >>"$log" &
}

stop_gateway() {
  [[ -n $gateway ]] || return 0
  kill "$gateway" 2>/dev/null || true
  wait "$gateway" 2>/dev/null || true
  gateway=
}

# start_gateway PRESET: sets `gateway` (process id) and `setting`, which it prints. Requires `port`.
start_gateway() {
  local log=$root/build/$1/vekgate.log line
  coproc GATE { exec "${launcher[@]}" "$root/build/$1/vekgate$suffix" --port 0 --upstream "127.0.0.1:$port" 2>"$log"; }
  # shellcheck disable=SC2153
  gateway=$GATE_PID
  exec {gate_told}<&"${GATE[0]}"
  setting=
  while [[ -z $setting ]] && read -r -t 60 line <&"$gate_told"; do
    line=${line%$'\r'}
    echo "vekgate: $line"
    [[ $line == :ShMemCli:* ]] && setting=$line
  done
  if [[ -z $setting ]]; then
    cat "$log"
    warn "vekgate printed no setting"
    return 1
  fi
  cat <&"$gate_told" >>"$log" &
}

# example PRESET PROGRAM ARGUMENTS...
example() {
  local preset=$1 program=$2 status=0
  shift 2
  echo "-- example client: $program $*"
  timeout -k 10 120 "${launcher[@]}" "$root/build/$preset/$program$suffix" "$@" || status=$?
  ((status == 0)) || warn "$program: $( ((status == 124)) && echo "not finished after 120 s" || echo "exit status $status")"
  return "$status"
}

# demo_session PRESET [shm]: one run; succeeds if both example clients do. The second one changes the password.
demo_session() {
  local status=0 setting
  launch_as "$1"
  start_simulator "$1" || return 1
  setting=127.0.0.1:$port
  if [[ ${2:-} == shm ]]; then start_gateway "$1" || status=1; fi
  ((status)) || { example "$1" minimal "$setting" && example "$1" session "$setting"; } || status=$?
  stop_gateway
  stop_simulator || {
    status=$?
    warn "veksim: exit status $status"
  }
  ((status == 0)) || sed 's/^/veksim: /' "$root/build/$1/veksim.log"
  return "$status"
}

# fates PRESET ARGUMENTS... TRADER...: compares the fates reported to a trader with the records of two servers, which are
# killed while it sends orders. `launcher` starts the servers.
fates() {
  local preset=$1
  shift
  python3 "$root/scripts/fates.py" "${launcher[@]/#/--launcher=}" --server "$root/build/$preset/veksim$suffix" "$@"
}

demo_fates() {
  launch_as "$1"
  fates "$1" --table "${launcher[@]}" "$root/build/$1/trader$suffix"
}

# dev_demo [PRESET] [shm], in any order. Builds only what it runs.
dev_demo() {
  local preset=linux over='' argument programs=(vekapi veksim minimal session trader)
  for argument in "$@"; do
    if [[ $argument == shm ]]; then over=shm; else preset=$argument; fi
  done
  known_preset "$preset"
  [[ -z $over ]] || programs+=(vekgate)
  need_for_programs "$preset"
  need_for_run "$preset"
  need python3 "compares the fates of orders with the servers' records"
  need_install
  build_preset "$preset" "${programs[@]}" || fail "the build failed"
  launch_as "$preset"
  trap 'stop_gateway; stop_simulator || true; wine_stop || true' EXIT
  step "demo ($preset${over:+, $over}): veksim${over:+, vekgate} and the example clients" demo_session "$preset" $over ||
    fail "the demo failed; see above and build/$preset/veksim.log"
  [[ -n $over ]] || step "demo ($preset): a trader whose servers are killed" demo_fates "$preset" ||
    fail "the fates reported to the trader are not what the servers recorded, or the trader failed; see above"
  verdict "demo ($preset${over:+, $over}): every step came through"
}
