# Exports of the shared library. src/flat/exports.txt lists the flat functions, one per line; the linker files are
# generated from it. Classes are exported by their declarations.
set(exports_list ${PROJECT_SOURCE_DIR}/src/flat/exports.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${exports_list})
file(STRINGS ${exports_list} flat_exports REGEX "^[A-Za-z]")

# For the tests: EXPORT(name), one per line.
list(TRANSFORM flat_exports REPLACE "(.+)" "EXPORT(\\1)\n" OUTPUT_VARIABLE exports)
list(JOIN exports "" exports)
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/generated/vekapi_exports.inc CONTENT "${exports}")

if(WIN32)
  list(JOIN flat_exports "\n  " names)
  set(exports_file ${PROJECT_BINARY_DIR}/vekapi.def)
  file(CONFIGURE OUTPUT ${exports_file} CONTENT "LIBRARY vekapi.dll\nEXPORTS\n  ${names}\n")

  enable_language(RC)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/vekapi.rc.in ${PROJECT_BINARY_DIR}/vekapi.rc)
  target_sources(vekapi PRIVATE ${exports_file} ${PROJECT_BINARY_DIR}/vekapi.rc)

  # For programs built with MSVC: only the flat functions, because the classes are specific to this compiler.
  find_program(VEKAPI_DLLTOOL_LLVM llvm-dlltool)
  find_program(VEKAPI_DLLTOOL x86_64-w64-mingw32-dlltool REQUIRED)
  if(VEKAPI_DLLTOOL_LLVM)
    set(dlltool ${VEKAPI_DLLTOOL_LLVM} -m i386:x86-64)
  else()
    set(dlltool ${VEKAPI_DLLTOOL})
  endif()
  add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/vekapi.lib
    COMMAND ${dlltool} -d ${exports_file} -l ${PROJECT_BINARY_DIR}/vekapi.lib
    DEPENDS ${exports_file} VERBATIM)
  add_custom_target(vekapi_msvc_library ALL DEPENDS ${PROJECT_BINARY_DIR}/vekapi.lib)
else()
  list(JOIN flat_exports ";\n    " names)
  set(exports_file ${PROJECT_BINARY_DIR}/vekapi.map)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/vekapi.map.in ${exports_file} @ONLY)
  target_link_options(vekapi PRIVATE -Wl,--version-script=${exports_file})
  set_target_properties(vekapi PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS ${exports_file})
endif()
