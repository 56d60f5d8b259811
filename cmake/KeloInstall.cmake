# Installation: library, headers, CMake package, pkg-config file, manual pages, and, where the host is
# built, kelo, kelo-demo, kelo-devservice and the sample pictures.
include(CMakePackageConfigHelpers)

set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/tVQAccess2)

install(TARGETS tVQAccess2 tVQAccess2_cpp EXPORT tVQAccess2Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Results in words, and the parts of the interface for C++.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/KELOAccess DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tVQAccess2Targets NAMESPACE tVQAccess2:: DESTINATION ${package_directory})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/tVQAccess2Config.cmake.in
  ${PROJECT_BINARY_DIR}/tVQAccess2Config.cmake INSTALL_DESTINATION ${package_directory})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tVQAccess2ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/tVQAccess2Config.cmake
  ${PROJECT_BINARY_DIR}/tVQAccess2ConfigVersion.cmake
  DESTINATION ${package_directory})

# The pkg-config file finds the prefix from its own place, so an installation can be moved.
file(RELATIVE_PATH prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/tVQAccess2.pc.in ${PROJECT_BINARY_DIR}/tVQAccess2.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tVQAccess2.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The library's manual pages are made from its headers.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(manual_maker ${PROJECT_SOURCE_DIR}/scripts/make-header-man)
set(page_of_h libtVQAccess2.3)
set(page_of_hpp libtVQAccess2++.3)
foreach(suffix IN ITEMS h hpp)
  set(public_header ${PROJECT_SOURCE_DIR}/include/KELOAccess.${suffix})
  set(manual_page ${PROJECT_BINARY_DIR}/${page_of_${suffix}})
  add_custom_command(OUTPUT ${manual_page}
    COMMAND Python3::Interpreter ${manual_maker} ${public_header} ${PROJECT_VERSION} ${manual_page}
    DEPENDS ${public_header} ${manual_maker} VERBATIM)
  list(APPEND manual_pages ${manual_page})
endforeach()
add_custom_target(kelo_library_manual ALL DEPENDS ${manual_pages})
install(FILES ${manual_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man3)

# The documents. What of others' code is compiled into the programs is told with their terms; those
# of Boost ask for that in sources only.
file(READ ${PROJECT_SOURCE_DIR}/debian/copyright copyright)
if(KELO_BUILD_HOST)
  foreach(package IN ITEMS libcli11-dev nlohmann-json3-dev libfmt-dev)
    if(EXISTS /usr/share/doc/${package}/copyright)
      file(READ /usr/share/doc/${package}/copyright terms)
      string(APPEND copyright "\n\nCode of the package ${package} is compiled into the programs. Its terms:\n\n${terms}")
    endif()
  endforeach()
endif()
file(WRITE ${PROJECT_BINARY_DIR}/copyright "${copyright}")
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
              ${PROJECT_BINARY_DIR}/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples
        DESTINATION ${CMAKE_INSTALL_DOCDIR})

if(KELO_BUILD_HOST)
  install(TARGETS kelo kelo-demo kelo-devservice RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${PROJECT_BINARY_DIR}/host/kelo.1 ${PROJECT_BINARY_DIR}/host/kelo-demo.1
                ${PROJECT_BINARY_DIR}/devservice/kelo-devservice.1
          DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/samples DESTINATION ${CMAKE_INSTALL_DATADIR}/kelo)
  set(completions ${PROJECT_SOURCE_DIR}/host/completions)
  install(FILES ${completions}/kelo.bash
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME kelo)
  install(FILES ${completions}/_kelo DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  install(FILES ${completions}/kelo.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()
