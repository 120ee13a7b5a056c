# Configures and builds a preset.

presets=(linux linux-asan linux-tsan windows)

known_preset() {
  [[ " ${presets[*]} " == *" $1 "* ]] || fail "unknown preset: $1 (there are ${presets[*]})"
}

# Used if installed, not required.
compiler_cache() {
  command -v ccache >/dev/null && echo "-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache"
  return 0
}

configure_preset() {
  local log=build/$1.configure.log
  mkdir -p build
  # shellcheck disable=SC2046
  cmake --preset "$1" $(compiler_cache) >"$log" 2>&1 || {
    cat "$log"
    return 1
  }
}

# compile_preset PRESET [TARGET...]: on a terminal Ninja prints one line and overwrites it; otherwise only compiler
# output is shown.
compile_preset() {
  local preset=$1 targets=() quiet=()
  shift
  (($# == 0)) || targets=(--target "$@")
  [[ -t 1 ]] || quiet=(-- --quiet)
  cmake --build --preset "$preset" --parallel "$(nproc)" "${targets[@]}" "${quiet[@]}"
}

# build_preset PRESET [TARGET...]: builds everything if no target is given.
build_preset() {
  step "configure $1" configure_preset "$1" && step "build $1" compile_preset "$@"
}
