# How our own targets are compiled. Included by the top project and by each library, so that each library also
# configures alone; nothing in here reaches those who link us.
include_guard(GLOBAL)

option(NIMBO_WERROR "Treat warnings in our own code as errors" OFF)
option(NIMBO_USE_CCACHE "Compile through ccache where it is installed" ON)

if(NIMBO_USE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(NIMBO_CCACHE ccache)
  mark_as_advanced(NIMBO_CCACHE)
  if(NIMBO_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${NIMBO_CCACHE}" CACHE STRING "Set because ccache is installed")
  endif()
endif()

get_filename_component(nimbo_root "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
set(NIMBO_SOURCE_ROOT "${nimbo_root}" CACHE INTERNAL "The folder that holds shared/, tests/ and the rest")

# Installed when the configured project is ours; a project that takes us in as a folder decides for itself.
cmake_path(IS_PREFIX NIMBO_SOURCE_ROOT "${CMAKE_SOURCE_DIR}" NORMALIZE nimbo_is_top)
option(NIMBO_INSTALL "Define the install rules of the libraries" ${nimbo_is_top})

add_library(nimbo_warnings INTERFACE)
target_compile_options(nimbo_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wold-style-cast -Wnon-virtual-dtor
  # GCC 12 warns of overlapping copies in "literal" + std::string when it optimises, where there are none.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>,$<CONFIG:Release>>:-Wno-restrict>
  $<$<BOOL:${NIMBO_WERROR}>:-Werror>)

# nimbo_target_defaults(<target>): language level, warnings, and what makes the output independent of where it was built.
function(nimbo_target_defaults target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  # Assertion texts name their source file: the same text on every machine, and no build path in a product.
  target_compile_options(${target} PRIVATE "-fmacro-prefix-map=${NIMBO_SOURCE_ROOT}/=")
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:nimbo_warnings>)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# nimbo_library_defaults(<target>): the above for a shared library, with its version.
function(nimbo_library_defaults target)
  nimbo_target_defaults(${target})
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    LINKER_LANGUAGE CXX
    VERSION ${NIMBO_VERSION}
    SOVERSION ${NIMBO_SOVERSION}
    BUILD_RPATH_USE_ORIGIN ON
    INSTALL_RPATH "$ORIGIN")
  # A symbol that no linked library offers is found when we link, not by the user. The sanitizers' run-time comes in with
  # the executable, so there it is still open.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    target_link_options(${target} PRIVATE LINKER:--no-undefined)
  endif()
endfunction()
