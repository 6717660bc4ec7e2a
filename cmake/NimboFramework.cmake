# Chooses the framework that the library stands on: whoever includes this gets the target tarn::framework.
include_guard(DIRECTORY)
include(${CMAKE_CURRENT_LIST_DIR}/NimboSettings.cmake)

set(NIMBO_FRAMEWORK bundled CACHE STRING
  "\"bundled\" for the framework in shared/framework, or the name of an installed CMake package that defines tarn::framework")

if(NOT TARGET tarn::framework)
  if(NIMBO_FRAMEWORK STREQUAL "bundled")
    add_subdirectory("${NIMBO_SOURCE_ROOT}/shared/framework" "${CMAKE_BINARY_DIR}/shared/framework")
  else()
    find_package(${NIMBO_FRAMEWORK} REQUIRED)
    if(NOT TARGET tarn::framework)
      message(FATAL_ERROR "the package \"${NIMBO_FRAMEWORK}\" that NIMBO_FRAMEWORK names does not define tarn::framework")
    endif()
  endif()
endif()
