# Which lines and branches of the library the tests, the simulation and the fuzzers' inputs reach.

coverage_seeds=1..4000

# Runs everything that counts; a failure is shown, and does not hide what was reached.
coverage_run() {
  local build=build/linux-coverage
  find "$build" -name '*.gcda' -delete
  step "tests" ctest --test-dir "$build" --output-on-failure -L '^case$' -E '^simulation\.' --parallel 1 --quiet ||
    warn "some tests failed"
  step "fuzz corpora" ctest --test-dir "$build" --output-on-failure -R '^check\.fuzz_' --quiet || warn "some failed"
  step "seeds $coverage_seeds" "$build/test_simulation" --seeds "$coverage_seeds" >/dev/null || warn "a seed failed"
}

# Makes the page, and what scripts/coverage.py counts from. Branches that only an exception takes are not counted:
# nearly every call has one.
coverage_report() {
  local out=build/coverage
  mkdir -p "$out"
  gcovr --root . --filter 'src/' --object-directory build/linux-coverage --exclude-throw-branches \
    --exclude-unreachable-branches --gcov-ignore-parse-errors \
    --html-details "$out/index.html" --html-title "VekApi" --json "$out/coverage.json" build/linux-coverage \
    >"$out/gcovr.log" 2>&1 || {
    tail -n 20 "$out/gcovr.log"
    return 1
  }
}

dev_coverage() {
  at_most 0 coverage "$@"
  need_for_build linux
  need gcovr "makes the page of lines and branches"
  need python3 "adds up the directories"
  need_install
  build_preset linux-coverage || fail "coverage: the build failed"
  coverage_run
  step "page" coverage_report || fail "coverage: gcovr failed"
  python3 scripts/coverage.py build/coverage/coverage.json build/coverage/unreached.txt
  verdict "build/coverage/index.html; what nothing reaches: build/coverage/unreached.txt"
}
