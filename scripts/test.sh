# Builds and tests presets: CTest runs the tests, test_report.py counts them.

# Starting a process takes 10 ms natively, but 100 ms under Wine and the sanitizers, times six hundred tests: there all
# tests of a program run in one process.
one_process_a_test() { [[ $1 == linux ]]; }

# Tests that take seconds: long streams, random runs, real timeouts, other processes.
slow_tests='Live\.|RandomPrograms|Paced|Hostile|CodePage950|KilledGateway|OtherProcess|OverRings|Scribbles'

# chosen_tests PRESET: sets `chosen`, arguments for CTest, from `pattern` and `quick`.
chosen_tests() {
  chosen=(-L '^(case|check)$')
  if [[ -n $pattern ]]; then
    chosen+=(-R "$pattern" --no-tests=ignore)
  elif [[ -n $quick ]]; then
    chosen=(-L '^case$' -E "$slow_tests")
  elif ! one_process_a_test "$1"; then
    chosen=(-C programs -L '^(program|check)$')
  fi
}

# On a terminal CTest shows its progress in one line; otherwise passed tests are not listed.
only_news() {
  local start='^ *Start +[0-9]+: ' passed='^ *[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed +[0-9.]+ sec$'
  if [[ -t 1 ]]; then cat; else grep -vE --line-buffered "$start|$passed" || true; fi
}

# leaving_status FILE CMD...: writes the exit status to a file, because a pipe would lose it.
leaving_status() {
  local file=$1 status=0
  shift
  "$@" || status=$?
  echo "$status" >"$file"
}

# run_ctest PRESET: leaves ctest.xml, ctest.status and test-results in the build directory.
run_ctest() {
  local build=$root/build/$1 chosen run=() jobs=1  # one at a time under Wine: its server has one thread
  [[ $1 == windows ]] || run=("${launcher[@]}") jobs=$(nproc)  # for Windows programs CMake configures the launcher
  chosen_tests "$1"
  run+=(ctest --test-dir "$build" --parallel "$jobs" --output-on-failure --test-output-truncation middle
    --test-output-size-passed 20000 --test-output-size-failed 300000 --output-junit "$build/ctest.xml" "${chosen[@]}")
  [[ ! -t 1 ]] || run+=(--progress)
  leaving_status "$build/ctest.status" "${run[@]}" </dev/null 2>&1 | only_news
  [[ $(<"$build/ctest.status") == 0 ]]
}

test_preset() {
  local preset=$1 build=$root/build/$1
  rm -rf "$build/test-results" "$build/ctest.xml" "$build/ctest.status"
  build_preset "$preset" || return 0
  launch_as "$preset"
  step "test $preset" run_ctest "$preset" || true
}

# Sets `tested` (presets), `pattern` and `quick`.
read_test_arguments() {
  tested=() pattern='' quick=''
  while (($#)); do
    case $1 in
      -R)
        [[ -n ${2:-} ]] || fail "test: -R needs a regular expression for test names"
        pattern=$2
        shift
        ;;
      --quick) quick=1 ;;
      -*) fail "test: unknown option: $1 (see ./dev help test)" ;;
      *)
        known_preset "$1"
        tested+=("$1")
        ;;
    esac
    shift
  done
  [[ -z $pattern || -z $quick ]] || fail "test: -R and --quick cannot be combined"
  ((${#tested[@]})) && return
  if [[ -n $quick ]]; then tested=(linux); else tested=("${presets[@]}"); fi
}

need_for_page() {
  need chromium "shows the simulated server's page"
  need chromium-driver "clicks its buttons"
  need python3-selenium "tells it what to click"
}

dev_test() {
  local tested pattern quick preset start=$SECONDS report=("$root/scripts/test_report.py")
  read_test_arguments "$@"
  need python3 "counts the tests"
  for preset in "${tested[@]}"; do
    need_for_build "$preset"
    need_for_run "$preset"
    [[ -n $quick ]] || { need_for_languages "$preset" && need_for_consumers "$preset"; }
    [[ -n $quick || $preset == windows ]] || need tshark "tries the Wireshark dissector"
    [[ -n $quick || $preset != linux ]] || need_for_page
  done
  need_install
  for preset in "${tested[@]}"; do test_preset "$preset"; done
  wine_stop || true
  say "tests of ${tested[*]}, $((SECONDS - start)) s"
  [[ -z $pattern$quick ]] || report+=(--some)
  "${report[@]}" "${tested[@]}"
}
