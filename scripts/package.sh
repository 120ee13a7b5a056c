# ./dev package: the packages for users, in build/package/out. Everything is made from the last commit;
# archives carry its time.

package_kinds=(deb tar zip wheel nupkg)
packages=$root/build/package
made=$packages/out

need_for_package() {
  need_for_programs linux
  case $1 in
    deb) need debhelper "makes the Debian packages" ;;
    zip) need zip "packs the Windows files" ;;
    wheel)
      need python3-setuptools "makes the wheels"
      need python3-wheel "makes the wheels"
      ;;
    nupkg) need mono-devel "compiles the C# classes; has the assemblies of .NET Framework and .NET Standard to compile against" ;;
  esac
  case $1 in zip | wheel | nupkg) need g++-mingw-w64-x86-64-posix "cross compiler for Windows" ;; esac
}

# The sources as committed, in a directory whose name does not appear in the packages.
export_sources() {
  rm -rf "$packages/source"
  mkdir -p "$packages/source" "$made"
  git archive HEAD | tar -x -C "$packages/source"
}

package_version() { sed -n 's/^project(vekapi VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt; }

# once NAME COMMAND...: at most once per run.
once() {
  local mark=$packages/done-$1
  [[ ! -e $mark ]] || return 0
  mkdir -p "$packages"
  logged "$packages/$1.log" "${@:2}" && touch "$mark"
}

# Keeps names of directories out of the output; MinGW's linker is told to write no time into the file.
configure_tree() {
  local flags="-ffile-prefix-map=$packages/$1/build=build -ffile-prefix-map=$packages/source=." system=()
  [[ $1 != windows ]] || system=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" -DVEKAPI_PROGRAMS=ON
    -DCMAKE_SHARED_LINKER_FLAGS=-Wl,--no-insert-timestamp -DCMAKE_EXE_LINKER_FLAGS=-Wl,--no-insert-timestamp)
  # shellcheck disable=SC2046
  cmake -G Ninja -S "$packages/source" -B "$packages/$1/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_UNITY_BUILD=ON \
    -DVEKAPI_TESTS=OFF -DVEKAPI_BENCH=OFF -DVEKAPI_EXAMPLES=OFF -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS="$flags" \
    -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_INSTALL_DOCDIR=doc "${system[@]}" $(compiler_cache)
}

# install_tree SYSTEM NAME ARGUMENT...: installs into build/package/SYSTEM/NAME, with the debug symbols in .../NAME-symbols.
install_tree() {
  local at=$packages/$1/$2
  rm -rf "$at" "$at-symbols"
  cmake --install "$packages/$1/build" --prefix "$at" "${@:3}" && part_symbols "$1" "$at"
}

install_library() {
  cmake --build "$packages/$1/build" --target vekapi && install_tree "$1" library --component runtime
}

install_all() { cmake --build "$packages/$1/build" && install_tree "$1" tree; }

# The library alone, in build/package/SYSTEM/library; or with the programs and everything else, in .../tree.
built_library() { once "configure-$1" configure_tree "$1" && once "library-$1" install_library "$1"; }
built_tree() { once "configure-$1" configure_tree "$1" && once "tree-$1" install_all "$1"; }

# part_symbols SYSTEM DIRECTORY: debuggers look for the symbols of X in X.debug.
part_symbols() {
  local tools='' file
  [[ $1 != windows ]] || tools=x86_64-w64-mingw32-
  mkdir -p "$2-symbols"
  while read -r file; do
    "${tools}objcopy" --only-keep-debug "$file" "$2-symbols/${file##*/}.debug" &&
      "${tools}strip" --strip-unneeded "$file" &&
      (cd "$2-symbols" && "${tools}objcopy" --add-gnu-debuglink="${file##*/}.debug" "$file") || return 1
  done < <(find "$2" -type f \( -name 'libvekapi.so.*' -o -name '*.dll' -o -path '*/bin/*' -perm -100 \) ! -path '*/doc/*')
}

# Sets the commit's time, so that archives do not differ.
same_times() { find "$1" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +; }

# tar_of NAME DIRECTORY: creates NAME.tar.gz with everything below a directory NAME.
tar_of() {
  tar --sort=name --owner=0 --group=0 --numeric-owner --mtime="@$SOURCE_DATE_EPOCH" --transform="s,^\.,$1," \
    -C "$2" -c . | gzip -n >"$made/$1.tar.gz"
}

# zip_of NAME DIRECTORY
zip_of() {
  local at=$packages/zip/$1
  rm -rf "$at" "$made/$1.zip"
  mkdir -p "${at%/*}"
  cp -a "$2" "$at"
  same_times "$at"
  (cd "${at%/*}" && find "$1" | LC_ALL=C sort | TZ=UTC zip -q -X -@ "$made/$1.zip")
}

# dpkg-buildpackage runs compilers with a home directory that it throws away.
cache_directory() { ccache --get-config cache_dir 2>/dev/null || true; }

make_deb() {
  local at=$packages/deb/vekapi-$version
  rm -rf "$packages/deb"
  mkdir -p "$packages/deb"
  cp -a "$packages/source" "$at"
  cp -a packaging/debian "$at/debian"
  printf 'vekapi (%s) unstable; urgency=medium\n\n  * See CHANGELOG.md.\n\n -- VekApi developers <vekapi@localhost>  %s\n' \
    "$version" "$(date -u -R -d "@$SOURCE_DATE_EPOCH")" >"$at/debian/changelog"
  (cd "$at" && VEKAPI_CMAKE_OPTIONS=$(compiler_cache) CCACHE_DIR=$(cache_directory) logged "$packages/deb/log" dpkg-buildpackage -us -uc -b) || return 1
  cp "$packages"/deb/*.deb "$made"
}

make_tar() {
  built_tree linux && tar_of "vekapi-$version-linux-x86_64" "$packages/linux/tree" &&
    tar_of "vekapi-$version-linux-x86_64-symbols" "$packages/linux/tree-symbols"
}

make_zip() {
  built_tree windows && zip_of "vekapi-$version-windows-x86_64" "$packages/windows/tree" &&
    zip_of "vekapi-$version-windows-x86_64-symbols" "$packages/windows/tree-symbols"
}

# wheel_with LIBRARY PLATFORM: the package, including the library.
wheel_with() {
  local at=$packages/wheel
  rm -rf "$at"
  cp -a "$packages/source/bindings/python" "$at"
  cp -L "$1" "$at/vekapi/"
  same_times "$at"
  (cd "$at" && VEKAPI_VERSION=$version /usr/bin/python3 setup.py -q bdist_wheel --plat-name "$2" --dist-dir "$made") >"$packages/wheel.log" 2>&1 || {
    cat "$packages/wheel.log"
    return 1
  }
}

make_wheel() {
  built_library linux && built_library windows &&
    wheel_with "$packages/linux/library/lib/libvekapi.so.${version%%.*}" linux_x86_64 &&
    wheel_with "$packages/windows/library/bin/vekapi.dll" win_amd64
}

# classes REFERENCES OUTPUT OPTION...: compiles the C# classes against the assemblies of one directory.
classes() {
  mcs -warnaserror -target:library -deterministic "-pathmap:$packages=/vekapi" -nostdlib -noconfig -r:"$1/mscorlib.dll" \
    -r:"$1/System.dll" -r:"$1/System.Core.dll" "-out:$2" "${@:3}" "$packages/nupkg/Version.cs" "$packages"/source/bindings/csharp/*.cs
}

# classes_for_standard VERSION REFERENCES OPTION...: the classes as an assembly of .NET Standard, which Mono's compiler cannot make.
classes_for_standard() {
  local to=$packages/nupkg/lib/netstandard$1
  mkdir -p "$to" "$packages/standard"
  classes "$2" "$packages/standard/VekApi.dll" "-doc:$to/VekApi.xml" "${@:3}" &&
    mono "$packages/retarget.exe" "$packages/standard/VekApi.dll" "$2/Facades/netstandard.dll" "$to/VekApi.dll"
}

compile_classes() {
  local mono=/usr/lib/mono cecil to=$packages/nupkg/lib/net47
  cecil=$(find $mono/gac/Mono.Cecil -name Mono.Cecil.dll | sort -V | tail -n 1)
  mcs -r:"$cecil" -r:System.Core.dll "-out:$packages/retarget.exe" tools/retarget/Retarget.cs || return 1
  mkdir -p "$to"
  echo "[assembly: System.Reflection.AssemblyVersion(\"$version.0\")]" >"$packages/nupkg/Version.cs"
  classes $mono/4.7-api "$to/VekApi.dll" "-doc:$to/VekApi.xml" && classes_for_standard 2.0 $mono/4.7.1-api &&
    classes_for_standard 2.1 $mono/4.5 -d:NETSTANDARD2_1_OR_GREATER && rm "$packages/nupkg/Version.cs"
}

make_nupkg() {
  local at=$packages/nupkg
  built_library linux && built_library windows || return 1
  rm -rf "$at"
  mkdir -p "$at/runtimes/linux-x64/native" "$at/runtimes/win-x64/native"
  compile_classes || return 1
  cp -L "$packages/linux/library/lib/libvekapi.so.${version%%.*}" "$at/runtimes/linux-x64/native/libvekapi.so"
  cp "$packages/windows/library/bin/vekapi.dll" "$at/runtimes/win-x64/native/"
  cp -a packaging/nuget/. "$at"
  sed -i "s/@VERSION@/$version/" "$at/VekApi.nuspec"
  same_times "$at"
  rm -f "$made/VekApi.$version.nupkg"
  (cd "$at" && find . -type f | LC_ALL=C sort | sed 's,^\./,,' | TZ=UTC zip -q -X -@ "$made/VekApi.$version.nupkg")
}

# make_packages KIND...: into `packages`. A compiler cache with a base directory would write relative names into the debug
# symbols, where they are not replaced.
make_packages() {
  local kind
  export CCACHE_BASEDIR=
  step "export the sources" export_sources || fail "the sources cannot be exported"
  rm -f "$packages"/done-*
  for kind in "$@"; do step "$kind" "make_$kind" || fail "the package was not made: $kind"; done
  (cd "$made" && find . -type f ! -name SHA256SUMS -printf '%P\n' | LC_ALL=C sort | xargs -d '\n' sha256sum >SHA256SUMS)
}

# A second time, in a directory with a longer name and without the compiler cache: the result must be
# identical.
make_again() {
  local first=$made packages=$root/build/package-once-more made=$root/build/package-once-more/out file
  rm -rf "$packages"
  CCACHE_DISABLE=1 make_packages "$@"
  for file in "$made"/*; do
    [[ $file == */SHA256SUMS ]] || cmp "$file" "$first/${file##*/}" || fail "built twice, it differs: ${file##*/}"
  done
  verdict "built twice, equal: $*"
}

dev_package() {
  local kinds=() kind version SOURCE_DATE_EPOCH mode=make
  case ${1:-} in --try | --twice) mode=${1#--} && shift ;; esac
  kinds=("$@")
  ((${#kinds[@]})) || kinds=("${package_kinds[@]}")
  for kind in "${kinds[@]}"; do
    [[ " ${package_kinds[*]} " == *" $kind "* ]] || fail "package: unknown kind: $kind (there are ${package_kinds[*]})"
    [[ $mode == try ]] || need_for_package "$kind"
  done
  need_install
  version=$(package_version)
  SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
  export SOURCE_DATE_EPOCH
  if [[ $mode == try ]]; then
    try_packages "${kinds[@]}"
    return
  fi
  [[ -z $(git status --porcelain) ]] || warn "what is not committed is not in the packages"
  make_packages "${kinds[@]}"
  [[ $mode == make ]] || make_again "${kinds[@]}"
  cat "$made/SHA256SUMS"
  verdict "packages: build/package/out"
}
