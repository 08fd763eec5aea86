#!/bin/sh
# check_library.sh LIBRARY NM READELF NAMES SANITIZERS: what the dynamic linker sees of libtarn_boot.
set -eu
library=$1 nm=$2 readelf=$3 names=$4 sanitizers=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
broken=0

complain() {
    echo "$*"
    broken=1
}

# Exactly the listed names; the version node itself is an absolute symbol.
"$nm" -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' |
    LC_ALL=C sort >"$work/exported"
LC_ALL=C sort "$names" >"$work/listed"
diff "$work/listed" "$work/exported" || complain "exported names differ (<: listed, >: exported)"

"$nm" -D --defined-only "$library" | grep -q ' B g_pkgCacheInfo' || complain "g_pkgCacheInfo is not exported from .bss"

# A protected symbol would part the library's object from the copy that a program linked without PIE gets.
"$readelf" --dyn-syms -W "$library" | awk '$8 ~ /^g_pkgCacheInfo(@|$)/ { print $4, $5, $6 }' >"$work/cache"
echo 'OBJECT GLOBAL DEFAULT' | diff - "$work/cache" || complain "g_pkgCacheInfo is no global object of default visibility"

dynamic=$("$readelf" -dW "$library")
echo "$dynamic" | grep -q 'SONAME.*\[libtarn_boot\.so\.1\]' || complain "SONAME is not libtarn_boot.so.1"
if echo "$dynamic" | grep -q '(SYMBOLIC)'; then
    complain "linked with -Bsymbolic"
fi
echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' >"$work/needed"

# Sanitizers and gcov bring libraries of their own. The dynamic loader is libc's other half: on 64-bit Arm it holds the
# stack protector's guard value.
if [ -z "$sanitizers" ]; then
    grep -v '^ld-linux' "$work/needed" | LC_ALL=C sort >"$work/sorted"
    printf '%s\n' libc.so.6 libtarn_basic.so.1 libxml2.so.2 | diff - "$work/sorted" ||
        complain "run-time dependencies differ (<: expected, >: needed)"
fi
exit $broken
