# What is installed, by component: each is a package of its own, see VornPackage.cmake.
install(TARGETS vorn EXPORT VORNTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
get_property(store_modules GLOBAL PROPERTY VORN_STORE_MODULES)
foreach(module IN LISTS store_modules)
  string(REPLACE "vorn-" "" component ${module})
  install(TARGETS ${module}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/vorn/${PROJECT_VERSION_MAJOR} COMPONENT ${component})
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vorn DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT VORNTargets NAMESPACE VORN:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VORN COMPONENT development)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VORNConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VORNConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VORN)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VORNConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VORNConfig.cmake ${PROJECT_BINARY_DIR}/VORNConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VORN COMPONENT development)

# From the file's own place, so that the installation can be made under another prefix, or moved. Only the folders of the
# system are named as they are: pkg-config then leaves them out, and compilers must not be given them a second time.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(VORN_PC_PREFIX /usr)
else()
  file(RELATIVE_PATH VORN_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" VORN_PC_PREFIX "\${pcfiledir}/${VORN_PC_PREFIX}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/vorn.pc.in ${PROJECT_BINARY_DIR}/vorn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vorn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
