#!/bin/sh
# check_operations_table.sh SOURCE_DIR: what counts as a call of an operation, and that a missing one is named.
set -eu
source_dir=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
broken=0

complain() {
    echo "$*"
    broken=1
}

# ---- The scanner: each operation is named after what the sample does with it ----
cat >"$work/sample.cpp" <<'CPP'
// Comment(1);
/* Comment(2);
   Comment(3); */ int x = Called(1);
const char *text = "Quoted(1) \" Quoted(2)"; // Comment(4)
const char *raw = R"x(Quoted(3) " )" Quoted(4))x"; char quote = '"'; Called(2);
const int grouped = 1'000'000; Called(3); char tick = '\'';
#define CALL_IT Expanded(1) + \
    Expanded(2)
uint32_t Declared(const char *path, uint32_t (*callback)(int));
Record *Declared(void) noexcept;
uint32_t Defined(int (*callback)(int)) noexcept
{
    return Returned(*Starred(3) + Nested(Inner(4)));
}
auto pointer = &Addressed; const Loader table[] = {{"x", Addressed}};
using Result = decltype(Unevaluated(1)); static_assert(noexcept(Unevaluated(2)));
else_branch: if (x) { } else Called(4);
bool both = x && Called (5);
CPP
printf '%s\n' Comment Called Quoted Expanded Declared Defined Returned Starred Nested Inner Addressed Unevaluated \
    >"$work/names"
awk -f "$source_dir/cmake/operations_table.awk" "$work/names" "$work/sample.cpp" | sed 's/ [^ ]*$//' |
    LC_ALL=C sort | uniq -c | sed 's/^ *//' >"$work/found"
cat >"$work/expected" <<'TXT'
5 call Called
1 call Inner
1 call Nested
1 call Returned
1 call Starred
2 declaration Declared
1 definition Defined
2 mention Addressed
TXT
diff "$work/expected" "$work/found" || complain "occurrences differ (<: expected, >: found)"

# ---- The table: an operation without header, unit or call, and a table that is out of date ----
mkdir -p "$work/tree/cmake" "$work/tree/docs" "$work/tree/include/tarn_boot" "$work/tree/src/unit" "$work/tree/tests/abi"
cp "$source_dir"/cmake/operations_table.* "$work/tree/cmake"
cd "$work/tree"
printf '%s\n' DoThis DoThat g_cache >tests/abi/exported_names.txt
printf '%s\n' 'int DoThis(void);' 'int DoThat(void);' 'extern PkgCacheInfo g_cache;' >include/tarn_boot/do.h
printf '%s\n' 'PkgCacheInfo g_cache;' 'int DoThis() { return 0; }' 'int DoThat() { return DoThis(); }' >src/unit/do.cpp
printf '%s\n' 'void test() { DoThat(); g_cache = {}; }' >tests/do_test.cpp
printf '%s\n' 'int (*take)(void) = DoThis;' >tests/abi/abi.c
table() { sh cmake/operations_table.sh "$@"; }

if table >docs/operations.md 2>"$work/said"; then
    complain "an operation that no test calls was let through"
fi
echo 'operations_table: DoThis is called by no test: write one' | diff - "$work/said" || complain "it was not named"
echo 'void more() { DoThis(); }' >>tests/do_test.cpp
table >docs/operations.md || complain "a complete table was refused"
grep -q '^| .DoThis. | unit/do.cpp | do_test.cpp |' docs/operations.md || complain "the row of DoThis is another"
grep -q '^| .g_cache. | unit/do.cpp | do_test.cpp |' docs/operations.md || complain "the row of g_cache is another"
table --check || complain "the table as it was written was refused"
mv tests/do_test.cpp tests/other_test.cpp
if table --check 2>/dev/null; then
    complain "a table that is out of date was let through"
fi
exit $broken
