#include "programs/module_child.h"

#include <kiv/whereami.h>

int moduleOfTheModule(char* out, int capacity, int* dirnameLength)
{
    const int volatile length =
        wai_getModulePath(out, capacity, dirnameLength); // no tail call: it would be the caller's
    return length;
}
