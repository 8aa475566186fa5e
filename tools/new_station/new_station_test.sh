#!/usr/bin/env bash
# Makes a new station with an installed tool, builds it with nothing but the installation, runs its tests,
# and runs it.
#
#     new_station_test.sh BUILD_FOLDER CXX [CXXFLAG...]
set -euo pipefail

build=$1 cxx=$2
shift 2
work=$(mktemp -d)/"a path with blanks"
mkdir "$work"
trap 'rm -rf "$(dirname "$work")"' EXIT
cd "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
corvane=$work/prefix/bin/corvane

echo "== a station that builds, passes its tests and runs"
"$corvane" new-station speaker --number 8 --offset 30
cmake -G Ninja -S speaker -B build -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wconversion -Werror $*" >/dev/null
cmake --build build >/dev/null
ctest --test-dir build --output-on-failure | grep '100% tests passed, 0 tests failed out of 7'
export CORVANE_DEVICE=$work/unit
build/speaker --results results.jsonl | grep '^after   byte 30 is 0xfc: passed'
"$corvane" record list | grep 'speaker ok'
"$corvane" results results.jsonl | grep '^speaker  *1  *1  *100.00 %'

echo "== what is refused, and leaves nothing"
# refused STATUS TEXT ARGUMENT...
refused() {
  local status=0
  "$corvane" new-station "${@:3}" 2>errors || status=$?
  if [[ $status != "$1" ]] || ! grep -q -- "$2" errors; then
    echo "new-station ${*:3}: $status"
    cat errors
    exit 1
  fi
}
before=$(ls -A)
refused 1 'speaker: is there already' speaker
for name in '' Speaker 'a b' ../x 9x station_test "$(printf 'x%.0s' {1..41})"; do refused 2 'name' "$name"; done
refused 2 'byte 18 belongs to the library' x --offset 17
refused 2 'number' x --number 256
refused 2 'offset' x --offset 127
chmod a-w . && if [[ $EUID != 0 ]]; then refused 1 'no folder can be made here' x; fi
chmod u+w .
rm errors
[[ $(ls -A) == "$before" ]]
