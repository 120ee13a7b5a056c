# Header-only libraries for what stands around the library (simulator, tools, examples, tests, benchmarks).
# The cross compiler has its own include root, so the few that it needs are linked into the build folder.
add_library(around INTERFACE)
target_compile_definitions(around INTERFACE FMT_HEADER_ONLY ASIO_STANDALONE)
if(WIN32)
  set(headers ${CMAKE_BINARY_DIR}/debian-headers)
  file(MAKE_DIRECTORY ${headers})
  foreach(entry asio asio.hpp CLI fmt nlohmann)
    if(EXISTS /usr/include/${entry})
      file(CREATE_LINK /usr/include/${entry} ${headers}/${entry} SYMBOLIC)
    endif()
  endforeach()
  target_include_directories(around SYSTEM INTERFACE ${headers})
  target_link_libraries(around INTERFACE ws2_32 mswsock)
  # Under Wine 8 completion ports lead to crashes in Asio's send handlers; over select the same tests run clean.
  target_compile_definitions(around INTERFACE ASIO_DISABLE_IOCP)
else()
  target_link_libraries(around INTERFACE Threads::Threads)
endif()
if(VEKAPI_SANITIZE MATCHES thread)
  # ThreadSanitizer does not know fences. Asio's are not needed where handlers are queued under a lock, which they are;
  # about those that stay the compiler would warn.
  target_compile_definitions(around INTERFACE ASIO_DISABLE_FENCED_BLOCK)
  target_compile_options(around INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
endif()
