# Installation: library, header, CMake package, pkg-config file.
include(CMakePackageConfigHelpers)

set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/tVQAccess2)

install(TARGETS tVQAccess2 EXPORT tVQAccess2Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tVQAccess2Targets NAMESPACE tVQAccess2:: DESTINATION ${package_directory})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/tVQAccess2Config.cmake.in
  ${PROJECT_BINARY_DIR}/tVQAccess2Config.cmake INSTALL_DESTINATION ${package_directory})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tVQAccess2ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/tVQAccess2Config.cmake
  ${PROJECT_BINARY_DIR}/tVQAccess2ConfigVersion.cmake
  DESTINATION ${package_directory})

configure_file(${CMAKE_CURRENT_LIST_DIR}/tVQAccess2.pc.in ${PROJECT_BINARY_DIR}/tVQAccess2.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tVQAccess2.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
