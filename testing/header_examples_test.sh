#!/usr/bin/env bash
# Compiles the examples that stand in headers. An example is a run of comment lines that begin with "///" and
# five blanks, one of which ends as code does.
#
#     header_examples_test.sh FOLDER CXX [CXXFLAG...]        FOLDER: where the headers are
set -euo pipefail

folder=$1 cxx=$2
shift 2
examples=$(mktemp --suffix=.cc)
trap 'rm "$examples"' EXIT
mapfile -d '' headers < <(find "$folder" -name '*.h' -print0 | sort -z)

{
  printf '#include "%s"\n' "${headers[@]}"
  cat <<'CC'
#include <vector>

// What the examples take from the program around them.
using namespace corvane;
using namespace corvane::station;
#define EXPECT_EQ(a, b) static_cast<void>((a) == (b))
extern const Profile kStation;
extern int argc;
extern char** argv;
extern const uint8_t* value;
extern int32_t length;
extern uint32_t key;
double measureLoudness();
void runMyStation();
void burnIn(TestRun& run);
CC
  # shellcheck disable=SC2016  # awk expands it.
  awk '
    function finish() {
      if (isCode) printf "\n#line %d \"%s\"\nauto example%d() {\n%s}\n", line, file, ++count, example
      example = ""
      isCode = 0
    }
    FNR == 1 { finish() }
    /^ *\/\/\/     / {
      if (example == "") { line = FNR; file = FILENAME }
      sub(/^ *\/\/\/     /, "")
      if (/[;{}] *(\/\/.*)?$/) isCode = 1
      example = example $0 "\n"
      next
    }
    { finish() }
    END { finish(); printf "\n// %d examples\n", count }
  ' "${headers[@]}"
} >"$examples"

tail -n 1 "$examples"
"$cxx" "$@" -std=c++20 -Wall -Wextra -Werror -Wno-return-type -Wno-unused-variable -fsyntax-only \
  "$examples"
grep -q '^// [1-9]' "$examples"
