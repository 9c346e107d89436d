#!/usr/bin/env bash
# Help, man page, completions and the documents tell of the same commands and options.
# descriptions.sh COMMAND DESCRIPTIONS DOCUMENTS: in that directory CLI.md has all usages, CHECK.md and CONSOLE.md those of
# theirs, with their options.
set -uo pipefail
mcgate=$1 made=$2 documents=$3
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
same_usages() { # document, usages
    local documented
    documented=$(sed -n '/^    mcgate/,/^$/p' "$documents/$1" | sed -n '1,/^$/p' | on_a_line | sed 's/ mcgate /\nmcgate /g')
    same "usage in the help and in $1" "$(sort <<<"$2")" "$(sort <<<"$documented")"
}
same_usages CLI.md "$usages"
same_usages CHECK.md "$(grep -E '^mcgate (check|interfaces) ' <<<"$usages")"
same_usages CONSOLE.md "$(grep '^mcgate console ' <<<"$usages")"
# The table of a command's options, where its document has one.
table() { # command
    case $1 in
        check) sed -n '/^| Option /,/^$/p' "$documents/CHECK.md" ;;
        console) sed -n '/^| Option /,/^$/p' "$documents/CONSOLE.md" ;;
        *) sed -n "/^## Options of $1\$/,/^## /p" "$documents/CLI.md" | grep '^|' ;;
    esac
}

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
    listed=$(table "$command")
    [ -z "$listed" ] || same "$what its table" "$helped" "$(cut -d'|' -f2 <<<"$listed" | long_options)"
done

cd "$(mktemp -d)" || exit 1
trap 'rm -rf "$PWD"' EXIT
touch 'a stream.ts' draft
mkdir docs
same "forms of report" "$(completed mcgate send x --report '')" "text json none"
same "forms of report behind =" "$(completed mcgate send x --report =) $(completed mcgate send x --report = j)" "text json none json"
same "files" "$(completed mcgate receive udp://@:5000 --out a)" "a stream.ts"
same "inputs" "$(completed mcgate send a)" "a stream.ts"
same "directories" "$(completed mcgate console --files d)" "docs"
same "no file for a number" "$(completed mcgate send x --offset a)" ""
groff -man -ww -z "$made/mcgate.1" 2>&1 | grep . && { echo "FAILED: the man page is malformed"; failed=1; }
for shell in zsh fish; do
    command -v $shell >/dev/null || { echo "SKIPPED: there is no $shell here to read its completion"; continue; }
    $shell --no-exec "$made/mcgate.$shell" || { echo "FAILED: the completion of $shell is malformed"; failed=1; }
done
exit $failed
