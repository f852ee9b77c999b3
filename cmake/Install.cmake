# cmake --install: the command-line tool, the libraries, the public headers (with the generated ones) and
# a CMake package, so that another project can find_package(ostreljet) and link ostreljet::ostreljet.
include(CMakePackageConfigHelpers)

set(_ostreljet_targets ostreljet)
if(TARGET ostreljet_component)
  list(APPEND _ostreljet_targets ostreljet_component)
endif()
install(TARGETS ${_ostreljet_targets} EXPORT ostreljetTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET ostreljet_cli)
  set_target_properties(ostreljet_cli PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  install(TARGETS ostreljet_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ ${PROJECT_BINARY_DIR}/include/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

set(_ostreljet_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ostreljet)
install(EXPORT ostreljetTargets NAMESPACE ostreljet:: DESTINATION ${_ostreljet_package_dir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ostreljetConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/ostreljetConfig.cmake
                              INSTALL_DESTINATION ${_ostreljet_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ostreljetConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ostreljetConfig.cmake ${PROJECT_BINARY_DIR}/ostreljetConfigVersion.cmake
        DESTINATION ${_ostreljet_package_dir})
