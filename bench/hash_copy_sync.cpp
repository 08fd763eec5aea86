// hash_copy_sync FILE OFFSET LENGTH DESTINATION: the bare program that one extraction is compared with.
#include "bare_copy.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char **argv)
{
    if (argc != 5) {
        fputs("usage: hash_copy_sync FILE OFFSET LENGTH DESTINATION\n", stderr);
        return 2;
    }
    bareHashCopySync(argv[1], strtol(argv[2], nullptr, 10), strtoul(argv[3], nullptr, 10), argv[4]);
    return 0;
}
