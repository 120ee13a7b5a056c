# own_objects:    object libraries with every source of the library, compiled once; only the exports are visible.
# vekapi:         the shared library.
# vekapi_inside:  the same objects as a static library, for tests and benchmarks that need internals.
include(CheckCXXCompilerFlag)
if(WIN32)
  set(os_name win32)
else()
  set(os_name posix)
endif()
file(GLOB_RECURSE vekapi_sources CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/src/*.cpp)
list(FILTER vekapi_sources EXCLUDE REGEX "/platform/os/(posix|win32)/")
file(GLOB os_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/platform/os/${os_name}/*.cpp)

# Shared memory and the clock, compiled once for the library and for the simulator, which uses nothing else of it.
set(shared_os_sources ${os_sources})
list(FILTER shared_os_sources INCLUDE REGEX "/(NamedMapping|NamedEvent|Clock|SharedObject)\\.cpp$")
add_library(os_shared OBJECT ${shared_os_sources})
set(own_os_sources ${os_sources})
list(REMOVE_ITEM own_os_sources ${shared_os_sources})
if(WIN32)
  # <windows.h> replaces names of ours with macros.
  set_source_files_properties(${own_os_sources} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  set_target_properties(os_shared PROPERTIES UNITY_BUILD OFF)
endif()

include(${CMAKE_CURRENT_LIST_DIR}/hot.cmake)
set(cold_sources ${vekapi_sources} ${own_os_sources})
take_sources(vekapi_loops cold_sources loop_sources)
take_sources(vekapi_hot cold_sources hot_sources)
add_library(vekapi_loop_objects OBJECT ${loop_sources})
add_library(vekapi_hot_objects OBJECT ${hot_sources})
add_library(vekapi_cold_objects OBJECT ${cold_sources})
# In this order: of a template that several instantiate, the first one stays.
set(own_objects vekapi_loop_objects vekapi_hot_objects vekapi_cold_objects)
foreach(objects ${own_objects})
  target_compile_definitions(${objects} PRIVATE VEKAPI_BUILDING VEKAPI_VERSION="${PROJECT_VERSION}")
  target_include_directories(${objects} PUBLIC ${PROJECT_SOURCE_DIR}/include)
  list(APPEND all_objects $<TARGET_OBJECTS:${objects}>)
endforeach()
list(APPEND all_objects $<TARGET_OBJECTS:os_shared>)
foreach(objects ${own_objects} os_shared)
  target_include_directories(${objects} PRIVATE ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${objects} PRIVATE vekapi_options)
  set_target_properties(${objects} PROPERTIES UNITY_BUILD_BATCH_SIZE 20
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON C_VISIBILITY_PRESET hidden)
  # As -Bsymbolic-functions below.
  target_compile_options(${objects} PRIVATE $<$<NOT:$<CXX_COMPILER_ID:MSVC>>:-fno-semantic-interposition>)
endforeach()

set(vekapi_system_libraries Threads::Threads)
if(WIN32)
  list(APPEND vekapi_system_libraries ws2_32 oleaut32)
endif()

# Release builds compile what is not hot for size, and what is hot without what takes room and makes no difference to
# the benchmarks: aligned functions and jumps, cold parts of functions with entries of their own in the tables for
# exceptions, and copies of larger functions at each call.
if(VEKAPI_SMALL AND NOT MSVC AND NOT VEKAPI_SANITIZE AND NOT VEKAPI_COVERAGE AND CMAKE_BUILD_TYPE MATCHES Rel)
  check_cxx_compiler_flag(-Oz VEKAPI_HAS_OZ)
  foreach(objects vekapi_cold_objects os_shared)
    # Not even short strings are copied by "rep movsb", which saves bytes and takes many cycles.
    target_compile_options(${objects} PRIVATE $<IF:$<BOOL:${VEKAPI_HAS_OZ}>,-Oz,-Os>
      $<$<CXX_COMPILER_ID:GNU>:-mstringop-strategy=libcall>)
  endforeach()
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    foreach(objects vekapi_loop_objects vekapi_hot_objects)
      target_compile_options(${objects} PRIVATE
        -fno-align-jumps -fno-align-labels -fno-reorder-blocks-and-partition)
    endforeach()
    target_compile_options(vekapi_hot_objects PRIVATE -falign-functions=1 --param=max-inline-insns-single=30)
  endif()
endif()

# The shared library is optimised as a whole, and so is a program that asks for it; others link the objects' ordinary
# code. Only if the build type says that it is a release; not on Windows, where the assembler's option against GCC bug
# 54412 might be lost.
set(vekapi_whole OFF)
if(VEKAPI_LTO AND CMAKE_CXX_COMPILER_ID STREQUAL GNU AND NOT WIN32 AND NOT VEKAPI_SANITIZE AND NOT VEKAPI_COVERAGE
   AND CMAKE_BUILD_TYPE MATCHES Rel)
  set(vekapi_whole ON)
  foreach(objects ${own_objects})
    target_compile_options(${objects} PRIVATE -flto=auto -ffat-lto-objects)
  endforeach()
endif()
# target_link_whole(TARGET): optimises what it links as a whole.
function(target_link_whole target)
  if(vekapi_whole)
    set_target_properties(${target} PROPERTIES VEKAPI_WHOLE ON)
    target_link_options(${target} PRIVATE -flto=auto -flto-partition=one)
  endif()
endfunction()

add_library(vekapi SHARED ${all_objects})
add_library(VekApi::vekapi ALIAS vekapi)
target_include_directories(vekapi PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)
target_compile_features(vekapi INTERFACE cxx_std_17)
target_link_libraries(vekapi PRIVATE $<BUILD_INTERFACE:vekapi_options> ${vekapi_system_libraries})
if(WIN32)
  set_target_properties(vekapi PROPERTIES PREFIX "")
else()
  # Never unmapped: the library's threads may still be unwinding after the last client has been deleted.
  target_link_options(vekapi PRIVATE -Wl,-z,nodelete)
  # Lazy binding would save the registers on that thread's stack, and with them parts of the data being copied.
  target_link_options(vekapi PRIVATE -Wl,-z,now)
  # The library's calls of its own functions go to them, whatever else has functions of the same names.
  target_link_options(vekapi PRIVATE -Wl,-Bsymbolic-functions)
  # Code and constants share pages.
  target_link_options(vekapi PRIVATE -Wl,-z,noseparate-code)
endif()
target_link_whole(vekapi)
include(cmake/exports.cmake)

add_library(vekapi_inside STATIC EXCLUDE_FROM_ALL ${all_objects})
target_compile_definitions(vekapi_inside PUBLIC VEKAPI_STATIC)
target_include_directories(vekapi_inside PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(vekapi_inside PUBLIC vekapi_options ${vekapi_system_libraries})
if(vekapi_whole)
  target_link_options(vekapi_inside INTERFACE $<$<NOT:$<BOOL:$<TARGET_PROPERTY:VEKAPI_WHOLE>>>:-fno-lto>)
endif()
