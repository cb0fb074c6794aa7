# Installs the platform libraries, the module, the reference host and the
# contract headers, with a CMake package config and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS panelkit oskit panelsys EXPORT panelmfdTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS panelmfd LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET panelhost)
  install(TARGETS panelhost_lib panelhost
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  # The tour and the layouts beside it (whichever the examples folder holds
  # when installing).
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/panelmfd/examples
          FILES_MATCHING PATTERN "*.panel" PATTERN "*.json")
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT panelmfdTargets NAMESPACE panelmfd:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/panelmfd)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/panelmfdConfig.cmake.in
                              ${CMAKE_BINARY_DIR}/panelmfdConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/panelmfd
                              PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/panelmfdConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/panelmfdConfig.cmake ${CMAKE_BINARY_DIR}/panelmfdConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/panelmfd)

configure_file(${PROJECT_SOURCE_DIR}/cmake/panelmfd.pc.in ${CMAKE_BINARY_DIR}/panelmfd.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/panelmfd.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
