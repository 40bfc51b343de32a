#include "NonVolatileInterface.h"

NonVolatileInterface::~NonVolatileInterface() = default;

int NonVolatileInterface::readUniqueId()
{
    return 0;
}

void NonVolatileInterface::writeUniqueId(int)
{
}
