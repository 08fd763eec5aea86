/* Is there a member of that name in a package? The smallest use of the installed headers and libraries. */
#include <stdio.h>
#include <tarn_boot/tarn_boot.h>

int main(int argc, char **argv)
{
    if (argc == 2 && TARN_SafeIsPkgFile(argv[1]) && TARN_PackageVerify("/nonexistent.cc") == TARN_VERIFY_PARAM) {
        printf("%s is named like a package\n", argv[1]);
        return 0;
    }
    return 1;
}
