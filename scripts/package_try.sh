# ./dev package --try: unpacks each package into an empty directory, and builds and runs programs that use it,
# against the simulated server of the Linux build.

need_for_try() {
  need_for_programs linux
  case $1 in
    tar | deb)
      need make "builds the example project of a Makefile"
      need pkgconf "finds the unpacked library for it"
      ;;
    zip | wheel)
      need unzip "unpacks the package"
      need g++-mingw-w64-x86-64-posix "builds a program for Windows"
      need wine64 "runs it"
      need python3-venv "an empty Python to install into"
      ;;
    nupkg)
      need unzip "unpacks the package"
      need mono-devel "compiles programs that use it, and runs them"
      need libmono-i18n-cjk4.0-cil "code page 950"
      ;;
  esac
}

# package_of NAME: sets `package` to the file's path.
package_of() {
  package=$made/$1
  [[ -f $package ]] || fail "there is no $1 in $made; make it first"
}

# CMake and pkg-config projects that use the library installed below PREFIX, with the examples that came with
# it.
projects_at() {
  local prefix=$1 examples=$2 library
  library=$(dirname "$(find "$prefix" -name libvekapi.so)")
  cmake -G Ninja -S "$examples/project" -B "$place/cmake" -DCMAKE_PREFIX_PATH="$prefix" && cmake --build "$place/cmake" &&
    LD_LIBRARY_PATH=$library with_simulator linux "$place/cmake/minimal" || return 1
  mkdir "$place/make"
  PKG_CONFIG_PATH=$library/pkgconfig make -C "$place/make" -f "$examples/project/Makefile" VPATH="$examples/project" &&
    LD_LIBRARY_PATH=$library with_simulator linux "$place/make/minimal"
}

try_tar() {
  package_of "vekapi-$version-linux-x86_64.tar.gz"
  tar -xzf "$package" -C "$place" && projects_at "$place/vekapi-$version-linux-x86_64" \
    "$place/vekapi-$version-linux-x86_64/doc/examples"
}

try_deb() {
  local part debs=() as_root=()
  for part in libvekapi0 libvekapi-dev vekapi-tools; do
    package_of "${part}_${version}_amd64.deb"
    debs+=("$package")
  done
  ((EUID == 0)) || as_root=(sudo)
  "${as_root[@]}" scripts/package_try_deb.sh "${debs[@]}"
}

# windows_session HEADERS EXAMPLES LIBRARY PROGRAM: a whole session under Wine, of a program linked to that library.
windows_session() {
  x86_64-w64-mingw32-gcc-posix -std=c99 -I"$1" -I"$2/c" "$2/c/session.c" "$2/c/win32/System.c" "$3" -o "$4" &&
    wine_start && with_simulator linux "$wine" "$4"
}

# A C program, with the import library; the C++ classes; and the programs start.
try_zip() {
  package_of "vekapi-$version-windows-x86_64.zip"
  unzip -q "$package" -d "$place" || return 1
  local tree=$place/vekapi-$version-windows-x86_64
  windows_session "$tree/include" "$tree/doc/examples" "$tree/lib/libvekapi.dll.a" "$tree/bin/session.exe" &&
    "$wine" "$tree/bin/veksim.exe" --help >"$place/help" && grep -i usage "$place/help" || return 1
  cmake -G Ninja -S "$tree/doc/examples/project" -B "$place/cmake" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" \
    -DCMAKE_FIND_ROOT_PATH="$tree" -DCMAKE_PREFIX_PATH="$tree" -DCMAKE_EXE_LINKER_FLAGS=-static && cmake --build "$place/cmake" &&
    with_simulator linux "$wine" "$place/cmake/minimal.exe"
}

# tagged TAG: pip installs the package on that system only.
tagged() { [[ $(unzip -p "$package" '*/WHEEL' | grep -E '^(Tag|Root-Is-Purelib):') == $'Root-Is-Purelib: false\nTag: '"$1" ]]; }

# Without network or any other package. There is no Python for Windows here: of that package the DLL is used by a C program.
try_wheel() {
  package_of "vekapi-$version-py3-none-win_amd64.whl"
  unzip -q "$package" -d "$place/windows" && tagged py3-none-win_amd64 && [[ -f $place/windows/vekapi/py.typed ]] || return 1
  windows_session include examples "$place/windows/vekapi/vekapi.dll" "$place/windows/vekapi/session.exe" || return 1
  package_of "vekapi-$version-py3-none-linux_x86_64.whl"
  tagged py3-none-linux_x86_64 && /usr/bin/python3 -m venv "$place/python" && "$place/python/bin/pip" install -q --no-index "$package" || return 1
  printf 'secret\nproducts\n' >"$place/typed"
  (cd "$place" && with_simulator linux "$place/python/bin/python" -I -m vekapi --user trader <"$place/typed") | tee "$place/said"
  grep -q '臺股期貨' "$place/said"
}

# nuget_program FRAMEWORK [OPTION...]: with the assembly for that framework, beside the library.
nuget_program() {
  local at=$place/$1
  mkdir "$at"
  cp "$place/lib/$1/VekApi.dll" "$place/runtimes/linux-x64/native/libvekapi.so" "$at" &&
    mcs -warnaserror -r:"$at/VekApi.dll" "-out:$at/session.exe" "${@:2}" examples/csharp/Session.cs &&
    with_simulator linux mono "$at/session.exe"
}

try_nupkg() {
  local facade=-r:/usr/lib/mono/4.5/Facades/netstandard.dll
  package_of "VekApi.$version.nupkg"
  unzip -q "$package" -d "$place" || return 1
  nuget_program net47 && nuget_program netstandard2.0 $facade && nuget_program netstandard2.1 $facade || return 1
  cp -a examples/project examples/csharp "$place"
  xbuild /nologo "/p:VekApi=$place" "$place/project/Trader.csproj" && with_simulator linux mono "$place/project/bin/Trader.exe"
}

# try_package KIND: output goes to build/package/try-KIND.log.
try_package() {
  local place=$packages/try/$1 package
  rm -rf "$place"
  mkdir -p "$place"
  launch_as linux
  ("try_$1") >"$packages/try-$1.log" 2>&1 || {
    tail -n 60 "$packages/try-$1.log"
    return 1
  }
}

try_packages() {
  local kind
  for kind in "$@"; do need_for_try "$kind"; done
  need_install
  build_preset linux veksim || fail "the simulated server cannot be built"
  for kind in "$@"; do step "try $kind" try_package "$kind" || fail "the package does not do: $kind"; done
  verdict "tried: $*"
}
