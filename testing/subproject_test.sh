#!/usr/bin/env bash
# Builds the house as a station's subproject, with shared libraries; and with static ones, whose installation it
# tests. Neither optimised nor with sanitizers.
#
#     subproject_test.sh CXX
set -euo pipefail

cxx=$1 source=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

configure() {
  cmake -G Ninja -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS=-O0 "$@" >/dev/null
}

echo "== a subproject"
cat >"$work/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(Station LANGUAGES CXX)
include(FetchContent)
FetchContent_Declare(Corvane SOURCE_DIR ${CORVANE_SOURCE})
FetchContent_MakeAvailable(Corvane)
file(GLOB load ${CORVANE_SOURCE}/examples/load/*.cc)
add_executable(station ${CORVANE_SOURCE}/examples/burn_in_station.cc ${load})
target_link_libraries(station PRIVATE Corvane::station)
CMAKE
configure -S "$work" -B "$work/build" -DCORVANE_SOURCE="$source"
cmake --build "$work/build" --target station
CORVANE_DEVICE=$work/unit "$work/build/station" --seconds 1 --memory 1 --quiet --folder "$work"

echo "== static libraries"
configure -S "$source" -B "$work/static" -DBUILD_SHARED_LIBS=OFF -DCORVANE_TESTS=OFF -DCORVANE_TOOL=OFF
cmake --build "$work/static"
"$source/testing/install_test.sh" "$work/static" "$cxx" -O0
