install(TARGETS vorn EXPORT VORNTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
get_property(store_modules GLOBAL PROPERTY VORN_STORE_MODULES)
if(store_modules)
  install(TARGETS ${store_modules} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/vorn/${PROJECT_VERSION_MAJOR})
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vorn DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT VORNTargets NAMESPACE VORN:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VORN)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VORNConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VORNConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VORN)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VORNConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VORNConfig.cmake ${PROJECT_BINARY_DIR}/VORNConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VORN)

# From the file's own place, so that the installation can be made under another prefix, or moved.
file(RELATIVE_PATH VORN_PC_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/vorn.pc.in ${PROJECT_BINARY_DIR}/vorn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vorn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
