#!/usr/bin/env bash
# Checks that the program and the library were built with what SECURITY.md promises. A program that is built without it
# shows first that each check can fail.
# Usage: built_files_are_hardened.sh COMPILER PROGRAM LIBRARY
set -euo pipefail
readonly COMPILER=$1 PROGRAM=$2 LIBRARY=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# checksec_says FILE PROPERTY VALUE: what an independent tool says of a file.
checksec_says() { [[ "$(checksec --format=json --file="$1")" == *"\"$2\":\"$3\""* ]]; }
# imports FILE NAME: as an extended regular expression.
imports() { nm --dynamic --undefined-only "$1" | grep -cE " ($2)(@|\$)" >/dev/null; }
# has_code FILE INSTRUCTION MORE_THAN: counts it; what the compiler adds to every program has some as well.
has_code() { (($(objdump --disassemble --no-show-raw-insn "$1" | grep -cE "$2") > $3)); }

has_relro() { checksec_says "$1" relro full; }
has_pie() { checksec_says "$1" pie yes || checksec_says "$1" pie dso; }
has_no_executable_stack() { checksec_says "$1" nx yes; }
has_stack_protector() { checksec_says "$1" canary yes; }
has_fortified_calls() { checksec_says "$1" fortify_source yes; }
has_library_assertions() { imports "$1" '_ZSt21__glibcxx_assert_failPKciS0_S0_'; }
has_branch_targets() { has_code "$1" '\<(endbr64|bti)\>' 9; }
has_stack_probes() { has_code "$1" '\<orq +\$0x0,(0x[0-9a-f]+)?\(%rsp\)|\<str +xzr, \[sp' 0; }

readonly CHECKS=(has_relro has_pie has_no_executable_stack has_stack_protector has_library_assertions has_branch_targets)
# The library has no frame that is large enough, and fills no buffer whose size the compiler cannot prove.
readonly PROGRAM_CHECKS=(has_fortified_calls has_stack_probes)

broken=0
complain() {
    echo "$*"
    broken=1
}

echo 'int main() {}' >"$work/soft.cpp"
"$COMPILER" -fno-stack-protector -fcf-protection=none -no-pie -Wl,-z,norelro,-z,execstack "$work/soft.cpp" -o "$work/soft"
for check in "${CHECKS[@]}" "${PROGRAM_CHECKS[@]}"; do
    if "$check" "$work/soft"; then complain "$check: says yes of a program that was built without it"; fi
    "$check" "$PROGRAM" || complain "$PROGRAM: $check says no"
done
for check in "${CHECKS[@]}"; do
    "$check" "$LIBRARY" || complain "$LIBRARY: $check says no"
done
exit $broken
