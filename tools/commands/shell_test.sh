#!/usr/bin/env bash
# bash completes a command, an option, an option's value and a key that the unit holds; every command that
# --help lists explains itself and is in the manual page; and asking makes no unit.
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

"$tool" manual >"$work/corvane.1"
# check_command COMMAND: its help and its section, and those of the commands below it.
check_command() {
  local help command
  # shellcheck disable=SC2086  # It is words.
  help=$("$tool" ${1#corvane} --help)
  if [[ $help != *"$1"* ]] || ! grep -qxF ".SH ${1//-/\\-}" "$work/corvane.1"; then
    echo "$1 has no help or no section in the manual" >&2
    exit 1
  fi
  sed -n '/^Subcommands:/,/^$/ s/^  \([a-z][a-z-]*\) .*/\1/p' <<<"$help" | while read -r command; do
    check_command "$1 $command"
  done
}
check_command corvane
(($(grep -c '^.SH corvane ' "$work/corvane.1") > 40))
[[ ! -e $CORVANE_DEVICE ]]

"$tool" syscfg set OPTS soak
"$tool" syscfg set OPT2 soak
expect "OPTS OPT2" syscfg get OP
expect "OPTS" syscfg set --hex 00 OPTS
expect "" syscfg get OPTS OP
