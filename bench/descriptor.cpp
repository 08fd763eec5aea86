// Reads one value of a descriptor file as a program of its own: descriptor FILE KEY.
#include <tarn_boot/descriptor.h>

#include "measure.h"

using namespace tarn::bench;

int main(int argc, char **argv)
{
    require(argc == 3, "usage: descriptor FILE KEY");
    char value[128];
    require(SWM_GetSecValueFromDesc(argv[1], argv[2], value, sizeof(value)) == SWM_OK && value[0] != '\0',
            "the key has a value");
    puts(value);
    return 0;
}
