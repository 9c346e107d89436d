#!/usr/bin/env bash
# Help, man page, completions and docs/CLI.md tell of the same commands and options.
# descriptions.sh COMMAND DESCRIPTIONS DOCUMENT
set -uo pipefail
mcgate=$1 made=$2 document=$3
failed=0
same() { # what, one, other
    [ "$2" = "$3" ] && return
    printf 'FAILED: %s:\n%s\nagainst\n%s\n' "$1" "$2" "$3"
    failed=1
}
on_a_line() { tr -s '[:space:]' ' ' | sed 's/^ //; s/ $//'; }
long_options() {
    grep -oE -- '(^|[^a-z-])--[a-z][a-z-]*' | grep -oE -- '--.*' | grep -vxE -- '--(help|registry)' | sort -u | on_a_line
}

commands=$("$mcgate" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' | on_a_line)
[ "$(wc -w <<<"$commands")" -ge 10 ] || { echo "FAILED: the help has only these commands: $commands"; exit 1; }
usages=$(for command in $commands; do "$mcgate" "$command" --help | sed -n 's/^Usage: //p'; done)
documented=$(sed -n '/^    mcgate/,/^$/p' "$document" | sed -n '1,/^$/p' | on_a_line | sed 's/ mcgate /\nmcgate /g')
same "usage in the help and in $document" "$(sort <<<"$usages")" "$(sort <<<"$documented")"

completed() { # words of a command line, the last one to be completed
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
    _mcgate
    echo "${COMPREPLY[@]}"
}
# shellcheck source=/dev/null
source "$made/mcgate.bash"
same "commands in the completion" "$(completed mcgate '' | tr ' ' '\n' | grep -v '^-' | on_a_line)" "$commands"
for command in $commands; do
    what="options of $command in the help and in"
    helped=$("$mcgate" "$command" --help | sed -n '/^Options:/,/^$/s/^  \(-h,\)*\(--[a-z-]*\).*/\2/p' | long_options)
    manual=$(sed -n "/^\.SS $command\$/,/^\.S[SH] /p" "$made/mcgate.1" | sed -n '/^\.TP/,+1p' | sed 's/\\-/-/g')
    same "$what man page" "$helped" "$(long_options <<<"$manual")"
    same "$what completion" "$helped" "$(completed mcgate "$command" -- | long_options)"
    table=$(sed -n "/^## Options of $command\$/,/^## /p" "$document" | grep '^|')
    [ -z "$table" ] || same "$what $document" "$helped" "$(cut -d'|' -f2 <<<"$table" | long_options)"
done

cd "$(mktemp -d)" || exit 1
trap 'rm -rf "$PWD"' EXIT
touch 'a stream.ts'
same "forms of report" "$(completed mcgate send x --report '')" "text json none"
same "files" "$(completed mcgate receive udp://@:5000 --out a)" "a stream.ts"
same "inputs" "$(completed mcgate send a)" "a stream.ts"
same "no file for a number" "$(completed mcgate send x --offset a)" ""
groff -man -ww -z "$made/mcgate.1" 2>&1 | grep . && { echo "FAILED: the man page is malformed"; failed=1; }
for shell in zsh fish; do
    command -v $shell >/dev/null || { echo "SKIPPED: there is no $shell here to read its completion"; continue; }
    $shell --no-exec "$made/mcgate.$shell" || { echo "FAILED: the completion of $shell is malformed"; failed=1; }
done
exit $failed
