# ./dev bench: the benchmarks beside other libraries.

need_for_bench() {
  need_for_build linux
  need python3 "runs the benchmarks and compares"
  need libbenchmark-dev "the benchmarks are written with it"
  need strace "counts system calls"
}

# Without them their rows say so.
need_peers() {
  need libquickfix-dev "a FIX session, for comparison"
  need libzmq3-dev "messages between sockets, for comparison"
  need libboost-dev "a lock-free ring, for comparison"
  (need_install) || warn "the comparison goes on without: ${missing[*]}"
  missing=()
}

dev_bench() {
  local targets
  [[ -e bench/CMakeLists.txt ]] || not_there bench bench/
  need_for_bench
  need_install
  targets=$(python3 scripts/bench.py "$@" --targets) || exit 2
  [[ $targets != *_peers* ]] || need_peers
  # shellcheck disable=SC2086
  build_preset linux $targets || fail "the build failed"
  step "benchmarks" python3 scripts/bench.py "$@" || fail "the benchmarks failed"
  verdict "benchmarks done"
}
