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
"$corvane" results results.jsonl | grep '^speaker  *100.00 %  *100.00 %  *1  *1'

echo "== what is refused, and leaves nothing"
# refused STATUS TEXT ARGUMENT...
refused() {
  local status=0
  "$corvane" new-station "${@:3}" 2>errors || status=$?
  cat errors
  [[ $status == "$1" ]] && grep -q -- "$2" errors
}
before=$(ls -A)
refused 1 'speaker: is there already' speaker
for name in '' Speaker 'a b' ../x 9x rebuild_cache station_test "$(printf 'x%.0s' {1..41})"; do
  refused 2 'not a valid station name' "$name"
done
refused 2 'the byte pair at 17 belongs to the library; free is --offset 24' x --offset 17
refused 2 'the byte pair at 29 belongs to station speaker; free is --offset 24' x --offset 29
refused 2 'station number 8 belongs to station speaker; free is --number 1' x --number 8
rm errors
[[ $(ls -A) == "$before" ]]

echo "== a station gets places that no other in the folder has"
for offset in 24 26 28 32; do
  "$corvane" new-station "s$offset" | grep "^s$offset: number .*, bytes $offset and"
done
"$corvane" new-station last | grep '^taken by speaker: number 8, bytes 30 and 31, key R008$'

echo "== without GoogleTest the tests fail and say what is missing"
cmake -G Ninja -S speaker -B bare -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON >/dev/null
if ctest --test-dir bare >tests 2>&1; then exit 1; fi
grep 'GoogleTest is missing: sudo apt install libgtest-dev' tests
