# Runs sessions from seeds, and checks that they find planted faults.

# The number of rows of 250 seeds in which a planted fault must show itself.
plant_rows=32

# simulate PROGRAM FROM TO: one process per processor; fails if any fails, and shows the first failure.
simulate() {
  local program=$1 from=$2 to=$3 workers part at end log status=0 pids=()
  workers=$(nproc)
  part=$(((to - from) / workers + 1))
  mkdir -p build/sim
  rm -f build/sim/*.txt
  for ((at = from; at <= to; at += part)); do
    end=$((at + part - 1 < to ? at + part - 1 : to))
    "$program" --seeds "$at..$end" --states >"build/sim/$at.txt" 2>&1 &
    pids+=($!)
  done
  for at in "${pids[@]}"; do wait "$at" || status=1; done
  for log in build/sim/*.txt; do grep -hE '^(seed|[0-9]+ seeds|to see)|^  [0-9]+: ' "$log" || true; done
  printf 'states reached: %s (build/sim/states)\n' "$(grep -h '^  [a-z]' build/sim/*.txt | sort -u | tee build/sim/states | wc -l)"
  return "$status"
}

dev_sim() {
  at_most 1 sim "$@"
  [[ ${1:-} =~ ^([0-9]+)\.\.([0-9]+)$ ]] || fail "sim takes two seeds: ./dev sim 1..10000"
  local from=${BASH_REMATCH[1]} to=${BASH_REMATCH[2]}
  need_for_build linux
  need_install
  build_preset linux test_simulation
  step "seeds $from to $to" simulate build/linux/test_simulation "$from" "$to" || fail "a promise was broken"
  verdict "no seed broke a promise"
}

# The tree into which faults are planted: a copy of the sources. Its location relative to its build is
# that of the real one, so that the compiler's cache recognises unchanged files.
plant_tree() {
  local tree=$root/build/plant/tree
  mkdir -p "$tree"
  git ls-files -z | tar -c --null -T - | tar -x -m -C "$tree"
  export CCACHE_BASEDIR=$tree CCACHE_NOHASHDIR=1
  # shellcheck disable=SC2046
  (cd "$tree" && cmake --preset linux -B planted/build -DVEKAPI_BENCH=OFF -DVEKAPI_LTO=OFF $(compiler_cache)) >build/plant/configure.log 2>&1
}

plant_build() {
  cmake --build build/plant/tree/planted/build --target test_simulation >build/plant/build.log 2>&1
}

# plant_one PATCH: prints the row of the table; fails if the fault is not found.
plant_one() {
  local patch=$1 name found='not found' row status=0
  name=$(basename "$patch" .patch)
  patch -s -p1 -d build/plant/tree <"$patch"
  if ! plant_build; then
    found='does not build'
  else
    for ((row = 0; row < plant_rows; ++row)); do
      if ! timeout 900 build/plant/tree/planted/build/test_simulation --seeds "$((row * 250 + 1))..$((row * 250 + 250))" --long \
        >"build/plant/$name.txt" 2>&1; then
        found=$(grep -m1 -oE '^seed [0-9]+: [a-z]+' "build/plant/$name.txt" || echo 'hangs')
        break
      fi
    done
  fi
  patch -s -R -p1 -d build/plant/tree <"$patch"
  [[ $found == seed* ]] || status=1
  printf '%-22s %-24s %s\n' "$name" "$found" "$(head -1 "$patch")"
  return "$status"
}

dev_plant() {
  local patch patches=(tests/plants/*.patch) missed=0
  if (($#)); then
    patches=("${@/#/tests/plants/}")
    patches=("${patches[@]/%/.patch}")
  fi
  need_for_build linux
  need_install
  step "build a copy" plant_tree || fail "the copy does not configure; see build/plant/configure.log"
  for patch in "${patches[@]}"; do
    [[ -f $patch ]] || fail "there is no $patch"
    plant_one "$patch" || missed=$((missed + 1))
  done
  ((missed == 0)) || fail "$missed of ${#patches[@]} faults were not found"
  verdict "all ${#patches[@]} faults were found"
}
