#include "support/fixture.h"

int main(int argc, char **argv)
{
    return tarn::test::runTests(argc, argv);
}
