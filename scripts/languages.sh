# Checks of the flat functions: the bindings and the built libraries against the header, and the same session in other
# languages against the simulated server.

need_for_languages() {
  need python3 "checks the bindings; runs the Python examples"
  case $1 in
    linux)
      need mono-mcs "compiles the C# example"
      need mono-runtime "runs the C# example"
      need libmono-i18n-cjk4.0-cil "code page 950 for the C# example"
      ;;
  esac
}

# with_simulator PRESET CMD...: the command gets the simulator's address as its last argument.
with_simulator() {
  local preset=$1 status=0
  shift
  launch_as "$preset"
  start_simulator "$preset" || return 1
  timeout -k 10 120 "$@" "127.0.0.1:$port" || status=$?
  stop_simulator || true
  return "$status"
}

# The C example outside the build: nothing but the two headers that VekApiC.h consists of, and the library.
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

# Real windows, an ordinary message loop and results that stream into it, in bursts as the rate allows, among 5,000 reports a
# second. The program judges itself: it ends with 0 once it has painted, its timer has ticked and it has taken what was typed
# meanwhile, and closes with results on their way.
window_streams() {
  launch_as windows
  simulator_options=(--rate 50/250 --reports 5000)
  with_simulator windows "${launcher[@]}" build/windows/window_c.exe --stream --until 200 --self-check
}

# python_session PROGRAM
python_session() { with_simulator linux python3 "examples/python/$1.py" --library build/linux/libvekapi.so; }

csharp_session() {
  mkdir -p build/linux/csharp
  mcs -warnaserror -out:build/linux/csharp/session.exe examples/csharp/Session.cs bindings/csharp/VekApi.cs || return 1
  LD_LIBRARY_PATH=build/linux with_simulator linux mono build/linux/csharp/session.exe
}

check_languages() {
  case $1 in
    linux)
      check flat_functions python3 scripts/check_flat.py build/linux/libvekapi.so
      check example_c c_alone linux
      check example_python python_session session
      check example_asyncio python_session asyncio_session
      check example_csharp csharp_session
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
