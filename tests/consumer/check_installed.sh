#!/usr/bin/env bash
# Proves that others can use what we install:
#   1. installs the build into a prefix of its own, and finds every public header there,
#   2. builds the library again, alone, on nothing of the framework but its installed headers and library,
#   3. builds a user's project against the prefix by find_package, and runs it,
#   4. builds the same program with the flags that pkg-config gives, and runs it.
# Usage: check_installed.sh BUILD_DIR SOURCE_ROOT [CMAKE_OPTION]...   (the options pass compiler and flags on)
set -euo pipefail

build=$1
source_root=$2
shift 2
options=("$@")

work=$build/installed
prefix=$work/prefix
rm -rf "$work"
mkdir -p "$work"

step() { printf -- '-- %s\n' "$*"; }
configure() { cmake -S "$1" -B "$2" -G Ninja "${options[@]}" "-DCMAKE_PREFIX_PATH=$prefix" "${@:3}"; }

step "install"
cmake --install "$build" --prefix "$prefix"
headers_in() { (cd "$1" && find . -name '*.h' | sort); }
for library in framework nimbo_utils; do
  forgotten=$(comm -23 <(headers_in "$source_root/shared/$library/include") <(headers_in "$prefix/include"))
  if [[ -n $forgotten ]]; then
    echo "public headers of $library that no CMakeLists.txt lists, so that they are not installed:" $forgotten >&2
    exit 1
  fi
done

step "the library alone, on the installed framework"
configure "$source_root/shared/nimbo_utils" "$work/nimbo_utils" -DNIMBO_FRAMEWORK=tarn -DNIMBO_WERROR=ON
if grep -rlF "$source_root/shared/framework" "$work/nimbo_utils/build.ninja"; then
  echo "the library's own build reaches into the framework's sources" >&2
  exit 1
fi
cmake --build "$work/nimbo_utils" -j 2

step "a user's project, by find_package"
configure "$source_root/tests/consumer" "$work/consumer"
cmake --build "$work/consumer"
"$work/consumer/consumer"

step "the same program, by pkg-config"
pkgconfig_dir=$(dirname "$(find "$prefix" -name nimbo_utils.pc)")
cxx=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$work/consumer/CMakeCache.txt")
cxx_flags=$(sed -n 's/^CMAKE_CXX_FLAGS:[A-Z]*=//p' "$work/consumer/CMakeCache.txt")
flags=$(PKG_CONFIG_PATH=$pkgconfig_dir pkg-config --cflags --libs nimbo_utils)
# shellcheck disable=SC2086  # both are lists of flags
"$cxx" -std=c++20 $cxx_flags "$source_root/tests/consumer/main.cpp" -o "$work/consumer-pc" $flags
LD_LIBRARY_PATH=$(dirname "$pkgconfig_dir") "$work/consumer-pc"
