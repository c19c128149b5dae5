# The packages of a Debian system, one for each component that is installed; scripts/package writes them.
set(VORN_PACKAGE_MAINTAINER "VORNLib developers <developers@vornlib.invalid>" CACHE STRING
  "Name and address of who answers for the packages")
set(package_version ${PROJECT_VERSION}-1)
set(package_files ${PROJECT_BINARY_DIR}/package)

# vorn_package(<component> <name> <section> <synopsis> <text>): what every package has, and what dpkg asks of its authors.
function(vorn_package component name section synopsis text)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${synopsis}\n${text}" PARENT_SCOPE)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
  set(doc ${CMAKE_INSTALL_DATADIR}/doc/${name})
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/package/copyright ${package_files}/changelog.gz
    ${package_files}/changelog.Debian.gz DESTINATION ${doc} COMPONENT ${component} EXCLUDE_FROM_ALL)
  file(READ ${PROJECT_SOURCE_DIR}/cmake/package/lintian-overrides overrides)
  string(REPLACE "@PACKAGE@" ${name} overrides "${overrides}")
  file(CONFIGURE OUTPUT ${package_files}/overrides/${name} CONTENT "${overrides}" @ONLY)
  install(FILES ${package_files}/overrides/${name}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

set(what "VORNLib builds SQL statements as objects and runs them on relational stores,
for long-lived C++ server processes.\n\n")
set(major ${PROJECT_VERSION_MAJOR})
vorn_package(library libvorn${major} libs "SQL statements as objects, run on relational stores"
  "${what}This package has the library and its embedded store, SQLite.")
if(VORN_WITH_POSTGRES)
  vorn_package(postgresql libvorn${major}-postgresql libs "SQL statements as objects - PostgreSQL store"
    "${what}This package has the module that the library loads for a store on a
PostgreSQL server.")
endif()
if(VORN_WITH_MARIADB)
  vorn_package(mariadb libvorn${major}-mariadb libs "SQL statements as objects - MariaDB store"
    "${what}This package has the module that the library loads for a store on a
MariaDB server or cluster.")
endif()
vorn_package(development libvorn-dev libdevel "SQL statements as objects - headers for development"
  "${what}This package has the headers, and what CMake and pkg-config need to find the
library.")
vorn_package(documentation libvorn-doc doc "SQL statements as objects - documentation"
  "${what}This package has the manual and the examples.")

# The site is there once scripts/docs has built it, from what docs/site says of its looks.
set(doc ${CMAKE_INSTALL_DATADIR}/doc/libvorn-doc)
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${doc} COMPONENT documentation EXCLUDE_FROM_ALL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples
  DESTINATION ${doc} COMPONENT documentation EXCLUDE_FROM_ALL PATTERN docs/site EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/docs/html
  DESTINATION ${doc} COMPONENT documentation EXCLUDE_FROM_ALL OPTIONAL)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "${VORN_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE vornlib)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${package_files}/shlibs ${package_files}/triggers)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS "libvorn${major}-postgresql, libvorn${major}-mariadb")
# The headers include none of another library, and what the library links to is its own business: nothing more is needed.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libvorn${major} (= ${package_version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libvorn-doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)

# A program that was built with this version needs it or a later one of the same major version; a module just this one.
file(CONFIGURE OUTPUT ${package_files}/shlibs
  CONTENT "libvorn ${major} libvorn${major} (>= ${PROJECT_VERSION})\n" @ONLY)
file(CONFIGURE OUTPUT ${package_files}/shlibs.modules
  CONTENT "libvorn ${major} libvorn${major} (= ${package_version})\n" @ONLY)
file(CONFIGURE OUTPUT ${package_files}/triggers CONTENT "activate-noawait ldconfig\n" @ONLY)
configure_file(${PROJECT_SOURCE_DIR}/cmake/package/built.cmake.in ${package_files}/built.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE ${package_files}/built.cmake)
include(CPack)
