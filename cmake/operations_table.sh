#!/bin/sh
# Prints docs/operations.md: every exported operation with its header, its unit and the tests that call it.
# With --check says instead whether the committed table is still that one. Fails, with the names, when an operation is in
# no header or unit, or when no test calls it.
set -eu
cd "$(dirname "$0")/.."
LC_ALL=C
export LC_ALL

names=tests/abi/exported_names.txt
table=docs/operations.md

# Tests of the C interface that only take addresses name every operation; a call is what counts.
occurrences() {
    {
        find include/tarn_boot -name '*.h'
        find src -name '*.cpp'
        find tests -name '*_test.cpp' -o -path 'tests/abi/*.c'
    } | sort | xargs awk -f cmake/operations_table.awk "$names"
}

render() {
    cat <<'TXT'
# Exported operations

Every exported operation: the unit of `src/` that defines it and the tests of `tests/` that call it, by header of
`include/tarn_boot`. `sh cmake/operations_table.sh >docs/operations.md` writes this file, `./dev check` compares it.
TXT
    occurrences | sort -u | awk '
        FILENAME != "-" { all[++count] = $1; next }
        # The library exports one object, the cache: its headers and users only mention it.
        $2 ~ /^g_/ && $1 == "mention" && $3 ~ /^include/ { $1 = "declaration" }
        $2 ~ /^g_/ && $1 == "mention" && $3 ~ /^tests.*_test/ { $1 = "call" }
        $1 == "call" && $3 !~ /^tests/ { next }
        { sub(/^(include\/tarn_boot|src|tests)\//, "", $3) }
        $1 == "declaration" { header[$2] = $3 }
        $1 == "definition" { unit[$2] = $3 }
        $1 == "call" && !(($2, $3) in seen) {
            seen[$2, $3] = 1
            tests[$2] = tests[$2] (tests[$2] == "" ? "" : ", ") $3
        }
        function lacks(name, what) {
            print "operations_table: " name " " what >"/dev/stderr"
            broken = 1
        }
        END {
            for (i = 1; i <= count; i++) {
                name = all[i]
                if (name ~ /^g_/) unit[name] = object
                if (header[name] == "") lacks(name, "is declared in no header of include/tarn_boot")
                if (unit[name] == "") lacks(name, "is defined in no unit of src")
                if (tests[name] == "") lacks(name, "is called by no test: write one")
                print header[name] "|" name "|" unit[name] "|" tests[name]
            }
            exit broken
        }' object="$(grep -lE "^PkgCacheInfo g_" src/*/*.cpp | sed 's,^src/,,')" "$names" - >"$rows" || return 1
    sort -t '|' -k 1,1 -k 2,2 "$rows" | awk -F '|' '
        $1 != header { header = $1; printf "\n## %s\n\n| operation | unit | called by |\n|---|---|---|\n", header }
        { printf "| `%s` | %s | %s |\n", $2, $3, $4 }'
}

rows=$(mktemp)
generated=$(mktemp)
trap 'rm -f "$rows" "$generated"' EXIT
render >"$generated"
if [ "${1:-}" != --check ]; then
    cat "$generated"
elif ! diff "$table" "$generated" >&2; then
    echo "operations_table: $table is out of date: sh cmake/operations_table.sh >$table" >&2
    exit 1
fi
