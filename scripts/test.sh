# All tests of some presets, counted by what GoogleTest writes into its XML reports.
# Programs named test_* are GoogleTest programs; anything else joins in through `check`.

program_timeout=300
total_passed=0 total_failed=0
table=()

# count PRESET NAME PASSED FAILED SECONDS REMARK
count() {
  total_passed=$((total_passed + $3)) total_failed=$((total_failed + $4))
  table+=("$(printf '%-11s %-24s %6d %6d %5d s  %s' "$@")")
  printf '   %-24s %5d passed, %d failed, %d s  %s\n' "$2" "$3" "$4" "$5" "$6"
}

how_it_ended() {
  case $1 in
    124 | 137) echo "not done after $program_timeout s" ;;
    *) echo "exit status $1" ;;
  esac
}

# Failing tests' parts of a long log and its end; a short log as it is.
show_log() {
  echo "   ---- output of $2"
  if (($(wc -l <"$1") <= 300)); then
    cat "$1"
  else
    awk '/^\[ RUN  /{part=""} {part=part $0 "\n"} /^\[  FAILED  \].*ms\)/{printf "%s", part}' "$1" | head -n 2000
    echo "   ---- ... and its end"
    tail -n 150 "$1"
  fi
  echo "   ---- end of output"
}

# check NAME CMD...: an extra check that counts as one test, in the table under $check_preset.
check_preset=-
check() {
  local name=$1 start=$SECONDS status=0 log=$root/build/check.log
  shift
  ("$@") </dev/null >"$log" 2>&1 || status=$?
  if ((status)); then
    count "$check_preset" "$name" 0 1 $((SECONDS - start)) "exit status $status"
    show_log "$log" "$name"
  else
    count "$check_preset" "$name" 1 0 $((SECONDS - start)) ''
  fi
}

# What the build makes now, not what an older one has left behind.
test_programs() {
  ninja -C "build/$1" -t targets all | tr -d '\r' | sed -n 's/^\(test_[^/: ]*\): C.*_EXECUTABLE_LINKER_.*/\1/p' | sort
}

attribute() { sed -n "/<testsuites /{s/.* $2=\"\([0-9]*\)\".*/\1/p;q}" "$1"; }

# count_report PRESET NAME XML STATUS SECONDS: a report that is missing or cut short is a crash.
count_report() {
  local tests bad unrun
  if ! tail -n 1 "$3" 2>/dev/null | grep -q '</testsuites>'; then
    count "$1" "$2" 0 1 "$5" "no report: $(how_it_ended "$4")"
    return
  fi
  tests=$(attribute "$3" tests)
  bad=$(($(attribute "$3" failures) + $(attribute "$3" errors)))
  unrun=$(grep -cE 'status="notrun"|result="skipped"' "$3" || true)
  local passed=$((tests - bad - unrun)) remark=''
  ((unrun)) && remark="$unrun not run"
  if ((passed + bad == 0)); then
    bad=1 remark='no test ran'
  elif (($4 && bad == 0)); then
    bad=1 remark="all tests passed, yet: $(how_it_ended "$4")"
  fi
  count "$1" "$2" "$passed" "$bad" "$5" "$remark"
}

run_test_program() {
  local preset=$1 program=$2 name=${2%.exe} start=$SECONDS status=0 failed_before=$total_failed
  local room=$root/build/$preset/test-results
  mkdir -p "$room"
  rm -f "$room/$name.xml"
  # The report's path is relative: the Windows programs have their own idea of absolute ones.
  (cd "build/$preset" && exec timeout -k 10 "$program_timeout" "${launcher[@]}" "$root/build/$preset/$program" \
    "--gtest_output=xml:test-results/$name.xml") </dev/null >"$room/$name.log" 2>&1 || status=$?
  count_report "$preset" "$name" "$room/$name.xml" "$status" $((SECONDS - start))
  if ((total_failed > failed_before)); then show_log "$room/$name.log" "$name ($preset)"; fi
}

test_preset() {
  local preset=$1 program programs
  if ! build_preset "$preset"; then
    count "$preset" build 0 1 0 'does not build'
    return
  fi
  launch_as "$preset"
  say "test $preset"
  programs=$(test_programs "$preset")
  [[ -n $programs ]] || count "$preset" tests 0 1 0 'no test program'
  for program in $programs; do run_test_program "$preset" "$program"; done
  check_preset=$preset
  check demo demo_session "$preset"
  check demo-shm demo_session "$preset" shm
  check_languages "$preset"
}

dev_test() {
  local chosen=("$@") preset start=$SECONDS
  ((${#chosen[@]})) || chosen=("${presets[@]}")
  for preset in "${chosen[@]}"; do
    known_preset "$preset"
    need_for_build "$preset"
    need_for_run "$preset"
    need_for_languages "$preset"
  done
  need_install
  mkdir -p build
  check readme_example readme_shows examples/cpp/minimal.cpp
  for preset in "${chosen[@]}"; do test_preset "$preset"; done
  say "all tests, $((SECONDS - start)) s"
  printf '%-11s %-24s %6s %6s %7s\n' preset program passed failed time
  printf '%s\n' "${table[@]}"
  wine_stop || true
  wine=
  echo "$total_passed passed, $total_failed failed"
  ((total_failed == 0 && total_passed > 0))
}

# readme_shows FILE: the README's C++ block is that file, to the letter.
readme_shows() { diff -u <(sed -n '/^```cpp$/,/^```$/{/^```/d;p}' README.md) "$1"; }
