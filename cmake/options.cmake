# Compiler flags for all our targets. The presets compile ten files at once (CMAKE_UNITY_BUILD): parsing the headers
# takes most of a small file's time.
set(CMAKE_UNITY_BUILD_BATCH_SIZE 10)

add_library(vekapi_options INTERFACE)
target_compile_options(vekapi_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual>
  $<$<BOOL:${VEKAPI_WERROR}>:-Werror>)

# Enables the assertions that no lock is held while waiting.
set(vekapi_checked $<CONFIG:Debug>)
if(VEKAPI_SANITIZE)
  set(vekapi_checked 1)
endif()
target_compile_definitions(vekapi_options INTERFACE $<${vekapi_checked}:VEKAPI_CHECKED>)

find_package(Threads REQUIRED)
if(VEKAPI_COVERAGE)
  # Of the library alone. Lines keep their order and their branches without the optimiser.
  set(counted $<IN_LIST:$<TARGET_PROPERTY:NAME>,vekapi_loop_objects$<SEMICOLON>vekapi_hot_objects$<SEMICOLON>vekapi_cold_objects$<SEMICOLON>os_shared$<SEMICOLON>vekapi_simulated>)
  target_compile_options(vekapi_options INTERFACE $<${counted}:--coverage$<SEMICOLON>-fprofile-update=atomic$<SEMICOLON>-O0>)
  target_link_options(vekapi_options INTERFACE --coverage)
endif()
if(VEKAPI_SANITIZE)
  # Except when fuzzing, only the library is worth the time of the optimiser and of UndefinedBehaviorSanitizer.
  set(is_library $<IN_LIST:$<TARGET_PROPERTY:NAME>,vekapi_loop_objects$<SEMICOLON>vekapi_hot_objects$<SEMICOLON>vekapi_cold_objects$<SEMICOLON>os_shared>)
  target_compile_options(vekapi_options INTERFACE
    -fsanitize=${VEKAPI_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1 $<IF:$<OR:${is_library},$<BOOL:${VEKAPI_FUZZ}>>,-O1,-O0>)
  if(VEKAPI_SANITIZE MATCHES undefined AND NOT VEKAPI_FUZZ)
    target_compile_options(vekapi_options INTERFACE $<$<NOT:${is_library}>:-fno-sanitize=undefined>)
  endif()
  target_link_options(vekapi_options INTERFACE -fsanitize=${VEKAPI_SANITIZE})
endif()
if(WIN32)
  # GCC bug 54412: the compiler may spill wide vectors to a stack aligned to 16 bytes only.
  target_compile_options(vekapi_options INTERFACE -Wa,-muse-unaligned-vector-move)
  target_compile_definitions(vekapi_options INTERFACE
    _WIN32_WINNT=0x0601 WINVER=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX)
  target_link_options(vekapi_options INTERFACE -static -static-libgcc -static-libstdc++)
endif()
