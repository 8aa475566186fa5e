#!/usr/bin/env bash
# Installs a build into a temporary prefix, whose path has blanks, and uses it as a station developer would:
# the examples built with nothing but pkg-config, and with the CMake package; and libcorvane.so exports what it
# is to export and nothing else. A build with static libraries is used in the same way.
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

# check PROGRAM: an example passes on its unit, and its lines stand in the log unless the library's own calls of a
# C function fail.
check() {
  rm -rf "$work/unit"
  CORVANE_DEVICE=$work/unit CORVANE_FAULTS=fopen "$1"
  [[ ! -e $work/unit/root/var/logs/CorvaneTov/log.txt ]]
  CORVANE_DEVICE=$work/unit "$1"
  grep -q 'Wrote (library ok)' "$work/unit/root/var/logs/CorvaneTov/log.txt"
}

echo "== the examples on the library alone with pkg-config"
"$cxx" "$@" -std=c++20 "$source/examples/library_station.cc" "${flags[@]}" -o "$work/library_station"
check "$work/library_station"
if [[ -n $library ]]; then CORVANE_DEVICE=$work/unit "$prefix/bin/corvane" record list | grep -q 'library ok'; fi
"$cxx" "$@" -x c -std=c99 "$source/examples/c_station.c" -x none "${flags[@]}" -o "$work/c_station"
CORVANE_DEVICE=$work/unit "$work/c_station"

echo "== an error of another library is caught, and no fault rule touches the program's own calls"
cat >"$work/unit.cc" <<'CC'
#include <corvane-host/virtual_device.h>
#include <corvane/unit/error.h>
#include <corvane/unit/poison_byte.h>

#include <cstdio>

int main(int, char** argv) {
  corvane::host::VirtualDevice device(argv[1]);
  device.use();
  std::FILE* own = std::fopen(argv[0], "r");
  if (!own || std::fclose(own) != 0) return 3;
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
CORVANE_FAULTS=fopen "$work/unit-access" "$work/unit"

echo "== the burn-in station with pkg-config"
"$cxx" "$@" -std=c++20 "$source"/examples/burn_in_station.cc "$source"/examples/load/*.cc \
  "${station_flags[@]}" -o "$work/burn_in_station"
CORVANE_DEVICE=$work/burnt-in "$work/burn_in_station" --seconds 1 --memory 1 --folder "$work" |
  grep -q '^result  passed'

echo "== an example with the CMake package"
cmake -G Ninja -S "$source/examples" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="$*" >/dev/null
cmake --build "$work/build" --target library_station >/dev/null
check "$work/build/library_station"
