#!/usr/bin/env bash
# bash completes a command, an option, an option's value and a key that the unit holds; asking makes no unit;
# and every command that --help lists has its manual page.
#
#     shell_test.sh CORVANE
set -euo pipefail

tool=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export CORVANE_DEVICE=$work/unit

# shellcheck source=/dev/null
source <("$tool" completion bash)

# expect ANSWERS WORD...: what bash offers for the command line's last word.
expect() {
  local answers=$1
  shift
  COMP_WORDS=("$tool" "$@") COMP_CWORD=$#
  _corvane
  if [[ ${COMPREPLY[*]} != "$answers" ]]; then
    echo "corvane $*: offers \"${COMPREPLY[*]}\", not \"$answers\"" >&2
    exit 1
  fi
}

expect "syscfg" sysc
expect "set" syscfg se
expect "--help --hex" syscfg get --he
expect "failed incomplete not-tested passed" status set 20 --status ""
expect "" syscfg get OP
[[ ! -e $CORVANE_DEVICE ]]
"$tool" syscfg set OPTS soak
"$tool" syscfg set OPT2 soak
expect "OPTS OPT2" syscfg get OP
expect "OPTS" syscfg set --hex 00 OPTS
expect "" syscfg get OPTS OP

mkdir "$work/manual"
"$tool" manual "$work/manual"
pages_of() {
  local command
  [[ -s $work/manual/$(tr ' ' - <<<"$1").1 ]] || { echo "$1 has no manual page" >&2 && exit 1; }
  # shellcheck disable=SC2086  # $1 is words.
  for command in $("$tool" ${1#corvane} --help | sed -n '/^Subcommands:/,/^$/ s/^  \([a-z][a-z-]*\) .*/\1/p'); do
    pages_of "$1 $command"
  done
}
pages_of corvane
(($(find "$work/manual" -name '*.1' | wc -l) > 20))
