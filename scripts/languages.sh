# Checks of the flat functions: the bindings and the built libraries against the header, and the same session in other
# languages against the simulated server.

need_for_languages() {
  need python3 "checks the bindings; runs the Python examples"
  case $1 in
    linux)
      need python3-clang "reads the header for the bindings' declarations"
      need mypy "checks the types of the Python package"
      need clang "compiles the C++ headers over the flat functions"
      need g++-mingw-w64-x86-64-posix "has the standard library with which Clang reads them as MSVC would"
      need mono-mcs "compiles the C# example"
      need mono-runtime "runs the C# example"
      need libmono-system-windows-forms4.0-cil "compiles the C# window"
      need libmono-i18n-cjk4.0-cil "code page 950 for the C# example"
      ;;
  esac
}

# with_simulator PRESET CMD...: runs the command with the simulator's address as its last argument.
with_simulator() {
  local preset=$1 status=0
  shift
  launch_as "$preset"
  start_simulator "$preset" || return 1
  timeout -k 10 120 "$@" "127.0.0.1:$port" || status=$?
  stop_simulator || true
  return "$status"
}

# Builds the C example outside the tree: with only the headers VekApiC.h consists of, and the library.
c_alone() {
  local preset=$1 alone=build/$1/alone
  rm -rf "$alone"
  mkdir -p "$alone/include/vekapi"
  cp include/vekapi/VekApiC.h include/vekapi/VekExport.h "$alone/include/vekapi"
  local flags=(-std=c99 -Wall -Wextra -pedantic -Werror "-I$alone/include" -Iexamples/c examples/c/session.c)
  if [[ $preset == windows ]]; then
    cp build/windows/vekapi.dll "$alone"
    x86_64-w64-mingw32-gcc "${flags[@]}" examples/c/win32/System.c build/windows/vekapi.lib -o "$alone/session.exe" || return 1
    launch_as windows
    with_simulator windows "${launcher[@]}" "$alone/session.exe"
  else
    gcc "${flags[@]}" examples/c/posix/System.c "-Lbuild/$preset" -lvekapi -pthread -o "$alone/session" || return 1
    LD_LIBRARY_PATH=build/$preset with_simulator "$preset" "$alone/session"
  fi
}

c_under_sanitizers() {
  launch_as "$1"
  with_simulator "$1" "${launcher[@]}" "build/$1/session_c"
}

# Real windows, an ordinary message loop and a stream of results, in bursts as the rate allows, among 5,000 reports per
# second. The program checks itself: it exits with 0 once it has painted, its timer has fired and it has accepted
# keyboard input meanwhile, and closes while results are arriving.
window_streams() {
  launch_as windows
  simulator_options=(--rate 50/250 --reports 5000)
  with_simulator windows "${launcher[@]}" build/windows/window_c.exe --stream --until 50 --self-check
}

# The generated declarations match the header, types included, and a type changed in the header is detected in all of
# them. Uses Debian's own Python, which has python3-clang.
bindings_follow_header() {
  /usr/bin/python3 tools/gen_bindings/make_bindings.py --check || return 1
  local changed=build/VekApiC_changed.h
  sed 's/bool CVekClient_Connect(CVekClient\* client/int CVekClient_Connect(CVekTable* client/' include/vekapi/VekApiC.h >"$changed"
  { /usr/bin/python3 tools/gen_bindings/make_bindings.py --check --header "$changed" || true; } | grep ', 3 of 4 files differ'
}

# The binary interface is unchanged since it was recorded, and a change would be detected.
flat_abi() {
  ./scripts/check_abi.py || return 1
  local changed=build/VekApiC_grown.h
  sed 's/  int stride;/  int more;\n&/' include/vekapi/VekApiC.h >"$changed"
  { ./scripts/check_abi.py --header "$changed" || true; } | grep 'no longer so: struct CVekRecordBlock: stride'
}

vba_modules() {
  python3 tests/bindings/vba.py bindings/vba/VekText.bas bindings/vba/VekSessions.bas examples/vba/VekSession.bas examples/vba/VekOrders.bas
}

# python_session PROGRAM
python_session() { with_simulator linux python3 "examples/python/$1.py" --library build/linux/libvekapi.so; }

# The types of the Python package, as users' type checkers see them.
python_types() {
  MYPYPATH=bindings/python /usr/bin/python3 -m mypy --strict --cache-dir build/mypy bindings/python/vekapi examples/python/order_book.py
}

python_terminal() {
  with_simulator linux env PYTHONPATH=bindings/python python3 -m vekapi --library build/linux/libvekapi.so --user trader
}

# A query and an order typed into the package's terminal client; then a password that is rejected.
terminal_in_python() {
  local said
  said=$(printf 'secret\n\360\237\230\200\nproducts\n!new\\nprod=TXF side=B qty=1 price=MKT\n' | python_terminal) || return 1
  echo "$said"
  grep -q '^not sent: ' <<<"$said" && grep -q 'TXF   臺股期貨 ' <<<"$said" && grep -q ': Acknowledged .* accepted ' <<<"$said" || return 1
  { python_terminal <<<wrong 2>&1 || true; } | grep '^not connected: the server refused the sign-on: 使用者'
}

# The examples in the module's own documentation, verbatim except for the server's address.
python_shown() { with_simulator linux python3 tests/bindings/shown.py build/linux/libvekapi.so; }

# compile_csharp NAME SOURCE [OPTION...]: with everything that depends on the platform. A public member without
# documentation is an error.
compile_csharp() {
  mkdir -p build/linux/csharp
  mcs -warnaserror -d:NETSTANDARD2_1_OR_GREATER "-doc:build/linux/csharp/$1.xml" "-out:build/linux/csharp/$1.exe" "${@:3}" "$2" \
    bindings/csharp/*.cs
}

# Code page 950 in Python and C#, compared with the library's own sources.
texts() {
  g++ -std=c++20 -Isrc tests/bindings/cp950/print_cp950.cpp src/platform/os/Utf8.cpp \
    src/platform/os/posix/CodePage.cpp -o build/linux/print_cp950 &&
    build/linux/print_cp950 >build/linux/cp950.txt && python3 tests/bindings/texts.py build/linux/cp950.txt &&
    compile_csharp texts tests/bindings/Texts.cs && mono build/linux/csharp/texts.exe build/linux/cp950.txt
}

# On both platforms, because the layout depends on their C compilers.
layouts() {
  compile_csharp layouts tests/bindings/Layouts.cs && mono build/linux/csharp/layouts.exe >build/linux/layouts.txt &&
    python3 tests/bindings/layouts.py build/linux/layouts.txt gcc x86_64-w64-mingw32-gcc
}

csharp_session() {
  compile_csharp session examples/csharp/Session.cs || return 1
  LD_LIBRARY_PATH=build/linux with_simulator linux mono build/linux/csharp/session.exe
}

# The C++ headers with the third compiler, and as MSVC would read them: its target, extensions and macros, but
# MinGW-w64's standard library. The builds compile them with GCC and MinGW-w64.
headers_with_clang() {
  local flags=(-std=c++20 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -Iinclude -fsyntax-only) mingw=() path
  for path in c++ c++/x86_64-w64-mingw32; do mingw+=(-isystem "$(x86_64-w64-mingw32-g++-posix -print-file-name=include)/$path"); done
  mingw+=(-isystem /usr/x86_64-w64-mingw32/include -fgnuc-version=4.2.1 -D__STRICT_ANSI__ -D__declspec=__declspec
    -D__GCC_ATOMIC_TEST_AND_SET_TRUEVAL=1)
  for path in examples/cpp/trader.cpp tests/wrapper/AllHeaders.cpp; do
    clang++ "${flags[@]}" "$path" && clang++ --target=x86_64-pc-windows-msvc "${mingw[@]}" "${flags[@]}" "$path" || return 1
  done
}

# With Debian's Python, for which there may be pandas.
sessions_python() { with_simulator linux /usr/bin/python3 tests/bindings/sessions.py build/linux/libvekapi.so; }

trader_python() {
  launch_as linux
  fates linux python3 examples/python/trader.py --library build/linux/libvekapi.so
}

sessions_csharp() {
  compile_csharp sessions tests/bindings/Sessions.cs || return 1
  LD_LIBRARY_PATH=build/linux with_simulator linux mono build/linux/csharp/sessions.exe
}

# With the classes compiled apart, as in a package.
trader_csharp() {
  local built=build/linux/csharp
  mkdir -p $built
  mcs -warnaserror -target:library -out:$built/VekApi.dll bindings/csharp/*.cs &&
    mcs -warnaserror -r:$built/VekApi.dll -out:$built/trader.exe examples/csharp/Trader.cs || return 1
  launch_as linux
  LD_LIBRARY_PATH=build/linux fates linux mono build/linux/csharp/trader.exe
}

# Programs that make random calls and exit in the middle of them, each exiting once.
random_programs() {
  simulator_options=(--anyone --heartbeat 1 --rate 1000/1000)
  LD_LIBRARY_PATH=build/linux with_simulator linux python3 tests/bindings/random_programs.py "$@"
}

small_python() {
  simulator_options=(--anyone)
  with_simulator linux python3 tests/bindings/small_programs.py build/linux/libvekapi.so
}

random_python() { random_programs python python3 tests/bindings/random_program.py build/linux/libvekapi.so; }

random_csharp() {
  compile_csharp random_program tests/bindings/RandomProgram.cs || return 1
  random_programs csharp mono build/linux/csharp/random_program.exe
}

check_languages() {
  case $1 in
    linux)
      check flat_functions python3 scripts/check_flat.py build/linux/libvekapi.so
      check bindings_follow_header bindings_follow_header
      check flat_abi flat_abi
      check vba_modules vba_modules
      check texts texts
      check layouts layouts
      check python_types python_types
      check python_shown python_shown
      check terminal_python terminal_in_python
      check small_python small_python
      check random_python random_python
      check random_csharp random_csharp
      check example_c c_alone linux
      check example_python python_session session
      check example_asyncio python_session asyncio_session
      check example_csharp csharp_session
      check headers_with_clang headers_with_clang
      check sessions_python sessions_python
      check trader_python trader_python
      check sessions_csharp sessions_csharp
      check trader_csharp trader_csharp
      check window_csharp compile_csharp window examples/csharp/Window.cs -r:System.Windows.Forms -r:System.Drawing
      ;;
    windows)
      check flat_functions python3 scripts/check_flat.py --nm x86_64-w64-mingw32-nm \
        --objdump x86_64-w64-mingw32-objdump build/windows/vekapi.dll build/windows/vekapi.lib \
        build/windows/libvekapi.dll.a
      check example_c c_alone windows
      check example_window window_streams
      ;;
    *) check example_c c_under_sanitizers "$1" ;;
  esac
}
