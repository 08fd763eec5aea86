# shellcheck shell=sh
# What the chapters of the demo are written with. Expects $tool, the path of tarn.

steps=0
bold=
plain=
if [ -t 1 ] && [ -z "${NO_COLOR:-}" ] && [ "${TERM:-dumb}" != dumb ]; then
    bold=$(printf '\033[1m')
    plain=$(printf '\033[0m')
fi

tarn() { "${tool:?}" "$@"; }

# beside_libraries COMMAND...: a copy of the tool no longer lies beside its libraries.
beside_libraries() { LD_LIBRARY_PATH=$(dirname "${tool:?}")/../lib "$@"; }

# title TEXT, tell LINE...: what comes, and why.
title() { printf '\n%s== %s%s\n' "$bold" "$*" "$plain"; }
tell() { printf '%s\n' "" "$@"; }

fail() {
    printf '\nDEMO FAILED at step %s: %s\n' "$steps" "$*" >&2
    exit 1
}

# expect STATUS PATTERN COMMAND...: runs the command, shows it and its output; both have to be as expected.
expect() {
    wanted=$1
    pattern=$2
    shift 2
    steps=$((steps + 1))
    printf '%s$ %s%s\n' "$bold" "$*" "$plain"
    status=0
    "$@" >output.txt 2>&1 || status=$?
    sed 's/^/    /' output.txt
    [ "$status" -eq "$wanted" ] || fail "exit status $status, expected $wanted"
    grep -qE -e "$pattern" output.txt || fail "the output does not match: $pattern"
    [ "$wanted" -eq 0 ] || printf '    (exit status %s)\n' "$status"
}

# expect_also PATTERN...: what the last command printed has these, too.
expect_also() {
    for pattern in "$@"; do
        steps=$((steps + 1))
        grep -qE -e "$pattern" output.txt || fail "the output does not match: $pattern"
    done
}

# expect_same FILE FILE: byte for byte.
expect_same() {
    steps=$((steps + 1))
    printf '%s$ cmp %s %s%s\n' "$bold" "$1" "$2" "$plain"
    cmp "$1" "$2" || fail "$1 and $2 differ"
    echo "    the same $(($(wc -c <"$1"))) bytes"
}

# expect_mode MODE FILE
expect_mode() {
    steps=$((steps + 1))
    printf '%s$ stat -c %%a %s%s\n    %s\n' "$bold" "$2" "$plain" "$(stat -c %a "$2")"
    [ "$(stat -c %a "$2")" = "$1" ] || fail "$2 does not have mode $1"
}

# expect_absent FILE...: a refusal leaves nothing behind.
expect_absent() {
    steps=$((steps + 1))
    for file in "$@"; do
        [ ! -e "$file" ] || fail "$file is there"
        echo "    $file was not made"
    done
}

# place PACKAGE NAME COLUMN: offset (4) or size (5) of a member, from the tool's own table.
place() { tarn package list "$1" | awk -v name="$2" -v column="$3" '$2 == name { print $column; exit }'; }

# byte FILE OFFSET: its value in decimal.
byte() { od -An -tu1 -j "$2" -N 1 "$1" | tr -d ' '; }

# put FILE OFFSET VALUE: overwrites one byte in place.
put() { printf '%b' "\\0$(printf '%03o' "$3")" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none; }

# flip FILE OFFSET: inverts the lowest bit of one byte.
flip() {
    old=$(byte "$1" "$2")
    put "$1" "$2" $((old % 2 == 0 ? old + 1 : old - 1))
    printf '%s# byte %s of %s: %s -> %s%s\n' "$bold" "$2" "$1" "$old" "$(byte "$1" "$2")" "$plain"
}
