#!/usr/bin/env bash
# bash completes a command, an option, an option's value and a key that the unit holds; every command of the
# manual page explains itself; and asking makes no unit.
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

"$tool" manual | sed -n 's/\\//g; s/^\.SH corvane/corvane/p' >"$work/commands"
(($(wc -l <"$work/commands") > 40))
while read -r command; do
  # shellcheck disable=SC2086  # It is words.
  "$tool" ${command#corvane} --help | grep "^Usage: $command\b" >/dev/null
done <"$work/commands"
[[ ! -e $CORVANE_DEVICE ]]

"$tool" syscfg set OPTS soak
"$tool" syscfg set OPT2 soak
expect "OPTS OPT2" syscfg get OP
expect "OPTS" syscfg set --hex 00 OPTS
expect "" syscfg get OPTS OP
