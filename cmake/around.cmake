# Debian libraries for the programs around the library (simulator, tools, examples, tests, benchmarks). The
# cross compiler has its own include root, so the headers it needs are linked into the build directory.
# Definitions of Asio and fmt are compiled once, here, not in each file that includes their headers.
add_library(around STATIC ${CMAKE_CURRENT_LIST_DIR}/around/asio.cpp ${CMAKE_CURRENT_LIST_DIR}/around/fmt.cpp)
target_link_libraries(around PRIVATE vekapi_options)
if(NOT VEKAPI_SANITIZE AND NOT MSVC)
  target_compile_options(around PRIVATE -O1 -g1)
endif()
target_compile_definitions(around PUBLIC ASIO_STANDALONE ASIO_SEPARATE_COMPILATION)
if(WIN32)
  set(headers ${PROJECT_BINARY_DIR}/debian-headers)
  file(MAKE_DIRECTORY ${headers})
  foreach(entry asio asio.hpp CLI fmt nlohmann)
    if(EXISTS /usr/include/${entry})
      file(CREATE_LINK /usr/include/${entry} ${headers}/${entry} SYMBOLIC)
    endif()
  endforeach()
  target_include_directories(around SYSTEM PUBLIC ${headers})
  target_link_libraries(around PUBLIC ws2_32 mswsock)
  # Under Wine 8, completion ports crash Asio's send handlers; with select the same tests pass.
  target_compile_definitions(around PUBLIC ASIO_DISABLE_IOCP)
else()
  target_link_libraries(around PUBLIC Threads::Threads)
endif()

if(VEKAPI_SANITIZE MATCHES thread)
  # ThreadSanitizer does not support fences, and the compiler warns about the remaining ones. Asio's fences are not
  # needed if handlers are queued under a lock, as they are here.
  target_compile_definitions(around PUBLIC ASIO_DISABLE_FENCED_BLOCK)
  target_compile_options(around PUBLIC $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
endif()
