#!/usr/bin/env bash
# libcorvane.so exports the names in exported_names.txt and no others.
#
#     exported_names_test.sh libcorvane.so
set -euo pipefail

nm --dynamic --defined-only --demangle -- "$1" | cut -d' ' -f3- | grep -v '__odr_asan' | LC_ALL=C sort |
  diff <(LC_ALL=C sort "$(dirname "$0")/exported_names.txt") -
