#!/bin/sh
# count_tests.sh LOG...: adds up the test cases of every program in ctest logs and prints "N passed, N failed, N skipped".
# Programs without cases of their own (scripts, the C program) count as one. Fails when a case failed or none ran.
set -eu
awk '
    /^[0-9]+\/[0-9]+ Test(ing)?: / { cases = 0 }
    /^\[  PASSED  \] [0-9]+ tests?\./ { passed += $4; cases = 1 }
    /^\[  FAILED  \] [0-9]+ tests?, listed below/ { failed += $4; cases = 1 }
    /^\[  SKIPPED \] [0-9]+ tests?, listed below/ { skipped += $4 }
    /^Test Passed\.$/ { if (!cases) passed += 1 }
    /^Test Failed\.$/ { if (!cases) failed += 1 }
    END {
        printf "%d passed, %d failed, %d skipped\n", passed, failed, skipped
        exit failed > 0 || passed == 0
    }' "$@"
