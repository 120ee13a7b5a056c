# The library as used by other projects: installed into an empty directory, and as sources. Each builds the
# small example and runs it against the simulated server.

need_for_consumers() {
  [[ $1 == linux ]] || return 0
  need make "builds the example project of a Makefile"
  need pkgconf "finds the installed library for it"
}

# installed PRESET: sets `prefix` to an installation that nothing else modifies.
installed() {
  prefix=$root/build/$1/consumer-$2/prefix
  rm -rf "${prefix%/*}"
  cmake --install "build/$1" --prefix "$prefix" >"build/$1/install.log"
}

# configured_project PRESET NAME ARGUMENT...: builds examples/project in build/PRESET/consumer-NAME/build.
project_built() {
  local built=build/$1/consumer-$2/build
  shift 2
  mkdir -p "$built"
  cmake -G Ninja -S examples/project -B "$built" -DCMAKE_BUILD_TYPE=Debug "$@" >"$built/log" 2>&1 &&
    cmake --build "$built" >>"$built/log" 2>&1 || {
    cat "$built/log"
    return 1
  }
}

with_find_package() {
  installed "$1" cmake || return 1
  local toolchain=()
  [[ $1 != windows ]] || toolchain=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" -DCMAKE_FIND_ROOT_PATH="$prefix"
    -DCMAKE_EXE_LINKER_FLAGS=-static)
  project_built "$1" cmake -DCMAKE_PREFIX_PATH="$prefix" "${toolchain[@]}" || return 1
  launch_as "$1"
  with_simulator "$1" "${launcher[@]}" "build/$1/consumer-cmake/build/minimal$suffix"
}

with_pkg_config() {
  installed linux make || return 1
  local built=build/linux/consumer-make/built
  mkdir -p "$built"
  PKG_CONFIG_PATH=$prefix/lib/pkgconfig make -C "$built" -f "$root/examples/project/Makefile" \
    VPATH="$root/examples/project" || return 1
  with_simulator linux "$built/minimal"
}

with_sources() {
  rm -rf build/linux/consumer-sources
  # shellcheck disable=SC2046
  project_built linux sources -DVEKAPI_SOURCE="$root" -DCMAKE_UNITY_BUILD=ON $(compiler_cache) || return 1
  with_simulator linux build/linux/consumer-sources/build/minimal
}

check_consumers() {
  case $1 in
    linux)
      check consumer_find_package with_find_package linux
      check consumer_pkg_config with_pkg_config
      check consumer_sources with_sources
      ;;
    windows) check consumer_find_package with_find_package windows ;;
  esac
}
