# Debian packages of what is installed: `cpack` in a build folder of the preset "release" makes three of them.
include_guard(GLOBAL)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME nimbo)
set(CPACK_PACKAGE_VERSION ${NIMBO_VERSION})
set(CPACK_PACKAGE_CONTACT "the authors of nimbo <nimbo@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL libraries development tool)
set(CPACK_COMPONENTS_GROUPING IGNORE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  "${CMAKE_BINARY_DIR}/shared/framework" "${CMAKE_BINARY_DIR}/shared/nimbo_utils")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME "libnimbo-utils${NIMBO_SOVERSION}")
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_DEPENDS "libsqlite3-0 (>= 3.37)")   # strict tables, which no symbol tells of
set(CPACK_DEBIAN_LIBRARIES_DESCRIPTION
"typed models in C++: framework and binary form
 The model framework tarn and the library nimbo_utils on top of it: models
 with containment, opposites and transactions, saved compactly, as JSON, as
 XML, or in a SQLite store.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libnimbo-utils-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME} (= ${NIMBO_VERSION}), libboost-dev (>= 1.74)")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"typed models in C++: what building on them takes
 Headers of the libraries tarn and nimbo_utils, and what CMake and pkg-config
 need to find them.")
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME nimbo)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME} (= ${NIMBO_VERSION})")
set(CPACK_DEBIAN_TOOL_DESCRIPTION
"look into, convert and compare model files
 The command nimbo reads models in all their forms: it tells what is in a
 binary file without its meta-model, explains it byte by byte, converts,
 compares, checks and prints it.")

include(CPack)
