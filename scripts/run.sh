# Runs built programs: natively, under the sanitizers, under Wine.

export ASAN_OPTIONS=halt_on_error=1:detect_stack_use_after_return=1:strict_string_checks=1:check_initialization_order=1
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
export TSAN_OPTIONS=halt_on_error=1:detect_deadlocks=1:second_deadlock_stack=1

wine=
# Sets `wine` and its environment variables. WINEDEBUG may be preset by the user, to see more.
find_wine() {
  local directory
  for directory in /usr/lib/wine /usr/bin; do
    [[ -x $directory/wine64 ]] && wine=$directory/wine64 && break
  done
  [[ -n $wine ]] || fail "no wine64 found"
  export WINEPREFIX=$root/build/wine WINEDEBUG=${WINEDEBUG:--all}
  # No dialogs about a browser engine or a .NET runtime.
  export WINEDLLOVERRIDES="mscoree,mshtml="
}

wine_server() {
  local server
  for server in /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver /usr/bin/wineserver; do
    if [[ -x $server ]]; then
      timeout 60 "$server" "$@" >/dev/null 2>&1 || true
      return
    fi
  done
}

# Its log has Wine's errors, so that it tells why a start failed.
quiet_wine() { WINEDEBUG=${WINEDEBUG/#-all/fixme-all} timeout 300 "$wine" "$@" </dev/null >>"$root/build/wine.log" 2>&1; }

# Keeps the server running until told to stop: no start-up between programs, and no server holding a program's pipe
# open.
stay_started() { wine_server -p; }

# Windows are drawn into memory, so no display is needed. A new prefix is created with a desktop that expects one; the
# change needs a restart.
draw_into_memory() {
  grep -qs '"Graphics"="null"' "$WINEPREFIX/user.reg" && return
  quiet_wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f || return 1
  wine_server -k
  stay_started
}

# The first start writes the prefix, takes seconds and prints messages: done once, separately from what is measured and
# checked.
first_start() {
  mkdir -p "$WINEPREFIX"
  : >"$root/build/wine.log"
  stay_started
  draw_into_memory && quiet_wine cmd /c exit 0
}

# Once more in a new prefix if the first one cannot be started: that has happened, though rarely, on machines where all
# others before and after could. What Wine said is shown either way.
start_wine() {
  first_start && return
  tail -n 40 "$root/build/wine.log"
  warn "Wine did not start (above: what it said); once more in a new prefix"
  wine_server -k
  rm -rf "$WINEPREFIX"
  first_start && return
  tail -n 40 "$root/build/wine.log"
  warn "Wine does not start (above: what it said)"
  return 1
}

# Wine is stopped by the script that started it: nested scripts find WINE_STARTED set and leave it running.
wine_start() {
  [[ -z $wine ]] || return 0
  find_wine
  [[ -z ${WINE_STARTED:-} ]] || return 0
  step "start Wine" start_wine || fail "no tests under Wine; build/wine.log has all that it said"
  export WINE_STARTED=1
  trap wine_stop EXIT
}

# Stops only the server of our own prefix.
wine_stop() { [[ -z $wine ]] || wine_server -k; }

# The sanitizers' memory layout does not fit kernels that randomise addresses with more bits than they support.
fixed_addresses() {
  local bits
  bits=$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 0)
  if ((bits > 28)) && setarch "$(uname -m)" -R true 2>/dev/null; then echo "setarch $(uname -m) -R"; fi
}

# Sets `launcher` to the command prefix for a program of the preset, and `suffix` to its file name suffix.
launch_as() {
  launcher=() suffix=
  case $1 in
    windows)
      wine_start
      launcher=("$wine") suffix=.exe
      ;;
    linux-asan | linux-tsan) read -ra launcher <<<"$(fixed_addresses)" ;;
  esac
}
