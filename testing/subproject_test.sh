#!/usr/bin/env bash
# Builds the house as a station's subproject, with shared libraries; and with static ones, which it installs and
# uses by the CMake package and by pkg-config. Neither optimised nor with sanitizers.
#
#     subproject_test.sh CXX
set -euo pipefail

cxx=$1 source=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

configure() {
  cmake -G Ninja -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS=-O0 "$@" >/dev/null
}

# Exits with 0 when its line stands in the log. It opens a file itself, which no fault rule may touch.
cat >"$work/station.cc" <<'CC'
#include <corvane-host/virtual_device.h>
#include <corvane/controlbits/control_bits.h>
#include <corvane/log/log.h>

#include <cstdio>
#include <filesystem>
#include <span>

int main(int, char** argv) {
  corvane::host::VirtualDevice unit(argv[1]);
  unit.use();
  if (corvane::ControlBits::getReady() != 0) return 2;
  corvane::Log::write(CFSTR("hello"), CFSTR("Station"), 0);
  std::FILE* own = std::fopen(argv[0], "r");
  if (!own || std::fclose(own) != 0) return 3;
  return std::filesystem::exists(unit.filePath("/private/var/logs/CorvaneTov/log.txt")) ? 0 : 1;
}
CC

# check PROGRAM: runs it, and again with a fault rule for the library's own calls of a C function.
check() {
  local status=0
  "$1" "$work/unit"
  rm -r "$work/unit"
  CORVANE_FAULTS=fopen "$1" "$work/unit" || status=$?
  rm -r "$work/unit"
  ((status == 1))
}

cat >"$work/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(Station LANGUAGES CXX)
if(CORVANE_SOURCE)
  include(FetchContent)
  FetchContent_Declare(Corvane SOURCE_DIR ${CORVANE_SOURCE})
  FetchContent_MakeAvailable(Corvane)
else()
  find_package(Corvane REQUIRED)
endif()
add_executable(station station.cc)
target_link_libraries(station PRIVATE Corvane::corvane)
CMAKE

echo "== a subproject"
configure -S "$work" -B "$work/build" -DCORVANE_SOURCE="$source"
cmake --build "$work/build" --target station
check "$work/build/station"

echo "== static libraries"
configure -S "$source" -B "$work/static" -DBUILD_SHARED_LIBS=OFF -DCORVANE_TESTS=OFF -DCORVANE_TOOL=OFF
cmake --build "$work/static"
cmake --install "$work/static" --prefix "$work/prefix" >/dev/null
if [[ -n $(find "$work/prefix" -name '*.so*') ]]; then exit 1; fi

configure -S "$work" -B "$work/user" -DCMAKE_PREFIX_PATH="$work/prefix"
cmake --build "$work/user"
check "$work/user/station"

PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name corvane.pc)")
export PKG_CONFIG_PATH
flags=()
eval "flags=($(pkg-config --static --cflags --libs corvane))"
"$cxx" -std=c++20 "$work/station.cc" "${flags[@]}" -o "$work/station"
check "$work/station"
