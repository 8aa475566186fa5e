#!/usr/bin/env bash
# Installs a build into a temporary prefix, whose path has blanks, and uses it as a station developer would:
# a program built with nothing but pkg-config, the same with the CMake package; and libcorvane.so exports what
# it is to export and nothing else. A build with static libraries is used in the same way.
#
#     install_test.sh BUILD_FOLDER CXX [CXXFLAG...]
set -euo pipefail

build=$1 cxx=$2 source=$(cd "$(dirname "$0")/.." && pwd)
shift 2
work=$(mktemp -d)/"a path with blanks"
mkdir "$work"
trap 'rm -rf "$(dirname "$work")"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
mv "$prefix" "$work/moved"
prefix=$work/moved
library=$(find "$prefix" -name libcorvane.so)
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name corvane.pc)")
export PKG_CONFIG_PATH
config=(pkg-config --static)
if [[ -n $library ]]; then
  config=(pkg-config)
  echo "== exported names"
  "$source/testing/exported_names_test.sh" "$library"
elif [[ -n $(find "$prefix" -name '*.so*') ]]; then
  exit 1
fi
# What pkg-config prints is quoted for a shell.
header_flags=() flags=() unit_flags=() station_flags=()
eval "header_flags=($("${config[@]}" --cflags corvane))"
eval "flags=($("${config[@]}" --cflags --libs corvane))"
eval "unit_flags=($("${config[@]}" --cflags --libs corvane-unit))"
eval "station_flags=($("${config[@]}" --cflags --libs corvane-station))"

echo "== every installed header stands alone"
cd "$prefix/include"
find . -name '*.h' -print0 | while IFS= read -r -d '' header; do
  "$cxx" "$@" -std=c++20 -Wall -Wextra -Wconversion -Werror -fsyntax-only \
    "${header_flags[@]}" -include "$header" -x c++ /dev/null
done
cd "$work"

echo "== the examples in the headers compile"
"$source/testing/header_examples_test.sh" "$prefix/include" "$cxx" "$@" "${station_flags[@]}"

echo "== a program with pkg-config"
cat >"$work/station.cc" <<'CC'
#include <corvane-host/virtual_device.h>
#include <corvane/controlbits/control_bits.h>
#include <corvane/log/log.h>
#include <corvane/log/time_helpers.h>

#include <cstdio>

int main(int, char** argv) {
  corvane::host::VirtualDevice unit(argv[1]);
  unit.use();
  if (corvane::ControlBits::getReady() != 0) return 1;
  corvane::Log::write(CFSTR("hello"), CFSTR("Station"), 0);
  corvane::ControlBits::writeCorvaneStatus(kCorvaneCotnrolBitsPassed);
  const corvane::CFRef<CFStringRef> now(stringForTime(getTime()));
  std::FILE* own = std::fopen(argv[0], "r");  // No fault rule may touch it.
  if (!own || std::fclose(own) != 0) return 1;
  return now && unit.dataSet("VelmoDiagnosticData")[18] == 0xFC ? 0 : 1;
}
CC
# check PROGRAM: its line stands in the log, unless the library's own calls of a C function fail.
check() {
  rm -rf "$work/unit"
  CORVANE_FAULTS=fopen "$1" "$work/unit"
  [[ ! -e $work/unit/root/var/logs/CorvaneTov/log.txt ]]
  "$1" "$work/unit"
  grep -q 'Station: hello' "$work/unit/root/var/logs/CorvaneTov/log.txt"
}
"$cxx" "$@" -std=c++20 "$work/station.cc" "${flags[@]}" -o "$work/station"
check "$work/station"
if [[ -n $library ]]; then CORVANE_DEVICE=$work/unit "$prefix/bin/corvane" status suite | grep -q passed; fi

echo "== an error of another library is caught"
cat >"$work/unit.cc" <<'CC'
#include <corvane/unit/error.h>
#include <corvane/unit/poison_byte.h>

int main() {
  corvane::unit::openDataArea();
  corvane::unit::Lock lock;
  corvane::unit::setPoison(lock, 24);
  try {
    corvane::unit::clearPoison(lock, 24);
  } catch (const corvane::unit::Error& error) {
    return error.fault() == corvane::unit::Fault::kFinal ? 0 : 1;
  }
  return 2;
}
CC
"$cxx" "$@" -std=c++20 "$work/unit.cc" "${unit_flags[@]}" -o "$work/unit-access"
CORVANE_DEVICE=$work/unit "$work/unit-access"

echo "== the burn-in station with pkg-config"
"$cxx" "$@" -std=c++20 "$source"/examples/burn_in_station.cc "$source"/examples/load/*.cc \
  "${station_flags[@]}" -o "$work/burn_in_station"
CORVANE_DEVICE=$work/burnt-in "$work/burn_in_station" --seconds 1 --memory 1 --folder "$work" |
  grep -q '^result  passed'

echo "== a C program"
cat >"$work/station.c" <<'C'
#include <corvane/controlbits/control_bit_byte.h>
#include <corvane/dataarea/bits.h>
#include <corvane/dataarea/data_area.h>
#include <corvane/log/log_collection.h>
#include <corvane/log/time_helpers.h>

int main(void) {
  uint8_t byte = 0;
  if (getMasterPort() || getDataArea()) return 1;
  if (readBits(18, 1, &byte, CFSTR("VelmoDiagnosticData"))) return 2;
  return changeTestStatus(&byte, kCorvaneControlBitsFailed) == 1 && byte == 0xFE ? 0 : 3;
}
C
"$cxx" "$@" -x c -std=c11 -Wall -Wextra -Werror "$work/station.c" -x none \
  "${flags[@]}" -o "$work/c-station"
CORVANE_DEVICE=$work/unit "$work/c-station"

echo "== a program with the CMake package"
cat >"$work/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(Station LANGUAGES CXX)
find_package(Corvane REQUIRED)
add_executable(station station.cc)
target_link_libraries(station PRIVATE Corvane::corvane)
CMAKE
cmake -G Ninja -S "$work" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_CXX_FLAGS="$*" >/dev/null
cmake --build "$work/build" >/dev/null
check "$work/build/station"
