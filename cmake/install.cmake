# cmake --install. Components: runtime (the shared library), development (headers, CMake and pkg-config files, import
# libraries), programs, documents (guides, examples, bindings).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS vekapi EXPORT VekApiTargets
  RUNTIME COMPONENT runtime
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/vekapi DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
if(WIN32)
  install(FILES ${PROJECT_BINARY_DIR}/vekapi.lib DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endif()

# find_package(VekApi)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VekApi)
install(EXPORT VekApiTargets NAMESPACE VekApi:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/VekApiConfig.cmake.in ${PROJECT_BINARY_DIR}/VekApiConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_LIBDIR)
# While MAJOR is 0, a MINOR version may break compatibility as a MAJOR one may.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VekApiConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VekApiConfig.cmake ${PROJECT_BINARY_DIR}/VekApiConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

# pkg-config. The prefix is found relative to the file, so that the tree may be moved.
file(RELATIVE_PATH pc_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/vekapi.pc.in ${PROJECT_BINARY_DIR}/vekapi.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vekapi.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

foreach(program veksim vekgate vekdump vekterm)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME COMPONENT programs)
  endif()
endforeach()

install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documents)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documents)
install(DIRECTORY examples bindings DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documents
  PATTERN __pycache__ EXCLUDE REGEX "/examples/CMakeLists[.]txt$" EXCLUDE)
