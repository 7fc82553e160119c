#!/usr/bin/env bash
# Checks that the man page has every command and option of the program and no others, that there is what the documents have
# people type, and that docs/error-codes.md has every error number; that program and packages have one version, and
# docs/upgrades.md those of the formats.
# Usage: manual_is_complete.sh SOURCE_DIR NIMBO1
set -euo pipefail
cd "$1"
readonly PROGRAM=$2
readonly MAN_PAGE=packaging/nimbo1.1
readonly CODES_PAGE=docs/error-codes.md
readonly UPGRADES_PAGE=docs/upgrades.md

broken=0
# expect_same WHERE FOUND WANTED: two lists, one a line, in any order.
expect_same() {
    local difference
    difference=$(diff <(sort -u <<<"$2") <(sort -u <<<"$3") | sed -n "s,^<,only in $1:,p; s,^>,missing in $1:,p") || true
    [[ -z $difference ]] && return
    echo "$difference"
    broken=1
}

help=$("$PROGRAM" --help-all)
# An option stands first in its line, behind its short form if it has one.
expect_same "$MAN_PAGE" \
    "$(sed -n '/^\.Sh OPTIONS/,/^\.Sh ENV/p' "$MAN_PAGE" | grep '^\.It' | grep -oE '(Fl|,) -[a-z-]+' | sed 's/.* -//')" \
    "$(sed -nE 's/^ +(-[a-z],)?--([a-z-]+).*/\2/p' <<<"$help")"
expect_same "$MAN_PAGE" \
    "$(sed -n '/^\.Sh COMMANDS/,/^\.Sh OPTIONS/s/^\.It Cm \([a-z]*\).*/\1/p' "$MAN_PAGE")" \
    "$(sed -n '/^Subcommands:/,$p' <<<"$help" | grep -E '^[a-z]+$')"
# Every word that is typed is known: commands, and options in their long form.
typed=$(grep -hoE '\$ (nimbo1|\./run) [^|>;&]*' README.md docs/*.md)
words=$(sed -nE 's/^ +(-[a-z],)?(--[a-z-]+).*/\2/p; s/^([a-z]+)$/\1/p' <<<"$help")
expect_same "what documents have people type" \
    "$( (grep -oE '(^| )--[a-z-]+' <<<"$typed" | tr -d ' '; sed -nE 's/^\$ [^ ]+ ([a-z]+).*/\1/p' <<<"$typed"; echo "$words"))" \
    "$words"
version=$("$PROGRAM" --version)
expect_same debian/changelog "nimbo1 $(sed -n '1s/.*(\(.*\)).*/\1/p' debian/changelog)" "$(head -1 <<<"$version")"
expect_same "$UPGRADES_PAGE" \
    "$(sed -nE 's/^\| ([A-Za-z ]+) \| ([0-9]+) \|.*/\1 \2/p' "$UPGRADES_PAGE")" \
    "$(sed -n 's/^formats: //p' <<<"$version" | sed 's/, /\n/g')"
expect_same "$CODES_PAGE" \
    "$(sed -nE 's/^\| (0x[0-9A-F]{8}|[0-9]+) .*/\1/p' "$CODES_PAGE")" \
    "$(sed -nE 's/.*ErrorNumber [A-Za-z]+ = (Code\()?(0x[0-9A-F]+|[1-9][0-9]*)\)?;.*/\2/p' host/error.h)"
exit $broken
