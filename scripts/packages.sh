# Debian packages: each command declares what it needs and why; missing packages are installed in one step.

missing=()

have_package() {
  [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

# need PACKAGE WHY: records the package if it is missing.
need() {
  command -v dpkg-query >/dev/null || return 0
  have_package "$1" && return
  [[ " ${missing[*]} " == *" $1 "* ]] && return
  printf 'missing: %-32s (%s)\n' "$1" "$2"
  missing+=("$1")
}

# Runs apt-get as root, non-interactively; its output is shown only if it fails.
apt_get() {
  local as_root=()
  if ((EUID != 0)); then
    command -v sudo >/dev/null || fail "these packages need root to be installed, and there is no sudo: ${missing[*]}"
    as_root=(sudo)
    [[ -t 0 ]] || as_root+=(-n)
  fi
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=120 "$@" \
    </dev/null >build/apt.log 2>&1 || {
    cat build/apt.log
    return 1
  }
}

# Installs the packages recorded by `need`.
need_install() {
  if ! command -v dpkg-query >/dev/null; then
    warn "not a Debian system: install missing packages yourself"
    return
  fi
  ((${#missing[@]})) || return 0
  command -v apt-get >/dev/null || fail "no apt-get here; install these yourself: ${missing[*]}"
  mkdir -p build
  step "apt-get update" apt_get update || fail "apt-get update failed (root or sudo without a password is needed)"
  step "apt-get install ${missing[*]}" apt_get install -y --no-install-recommends "${missing[@]}" ||
    fail "these packages could not be installed: ${missing[*]}"
  missing=()
}

# Records what the library and the demo programs need.
need_for_programs() {
  need cmake "configures the build"
  need ninja-build "runs the build"
  need g++ "native compiler; CMake asks for one in every preset"
  need libcli11-dev "command lines of the programs"
  need libfmt-dev "text formatting in the programs"
  need nlohmann-json3-dev "JSON in the programs"
  need libasio-dev "sockets of the simulated server"
  [[ $1 == windows ]] || need libedit-dev "line editing in the terminal client"
  [[ $1 == windows ]] && need g++-mingw-w64-x86-64-posix "cross compiler for Windows"
  return 0
}

# Records what building a preset needs, including all programs around the library.
need_for_build() {
  need_for_programs "$1"
  need googletest "sources of the test framework"
  [[ $1 != windows && -e bench/CMakeLists.txt ]] && need libbenchmark-dev "the benchmarks are written with it"
  return 0
}

need_for_run() {
  [[ $1 == windows ]] && need wine64 "runs the Windows programs"
  return 0
}
