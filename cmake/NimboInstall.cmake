# Installing a library so that others find it: by find_package and by pkg-config.
include_guard(DIRECTORY)
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# nimbo_install_library(<target> EXPORT_AS <namespace>::<name>)
# Installs the target with its headers, the CMake package <target> made from <target>Config.cmake.in, and <target>.pc made
# from <target>.pc.in; both templates lie beside the CMakeLists.txt that calls this.
function(nimbo_install_library target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "EXPORT_AS" "")
  if(NOT NIMBO_INSTALL)
    return()
  endif()
  string(REGEX MATCH "^(.+::)(.+)$" matched "${arg_EXPORT_AS}")
  set(namespace "${CMAKE_MATCH_1}")
  set_target_properties(${target} PROPERTIES EXPORT_NAME "${CMAKE_MATCH_2}")

  set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/${target}")
  # Components are what the Debian packages are made of: what programs need to run, and what building them takes.
  install(TARGETS ${target} EXPORT ${target}
    LIBRARY COMPONENT libraries NAMELINK_COMPONENT development
    FILE_SET HEADERS COMPONENT development)
  install(EXPORT ${target} NAMESPACE "${namespace}" FILE ${target}Targets.cmake DESTINATION "${package_dir}"
    COMPONENT development)
  configure_package_config_file(${target}Config.cmake.in ${target}Config.cmake INSTALL_DESTINATION "${package_dir}")
  # While the version begins with 0, a minor version may break its users.
  write_basic_package_version_file(${target}ConfigVersion.cmake COMPATIBILITY SameMinorVersion)
  install(FILES
    "${CMAKE_CURRENT_BINARY_DIR}/${target}Config.cmake"
    "${CMAKE_CURRENT_BINARY_DIR}/${target}ConfigVersion.cmake"
    DESTINATION "${package_dir}" COMPONENT development)

  # The way back from the folder of the .pc file, so that an installed tree may be moved.
  set(pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir}"
             OUTPUT_VARIABLE PKGCONFIG_TO_PREFIX)
  configure_file(${target}.pc.in ${target}.pc @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${target}.pc" DESTINATION "${pkgconfig_dir}"
    COMPONENT development)
endfunction()
