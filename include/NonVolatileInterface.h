#pragma once

#include "qzlogger_export.h"

// The store of the running item number that the writer process supplies, so that the unique ids
// of items keep counting across a power cycle. The store itself lives in the writer; a logger
// holds a pointer to it that it does not own. The base class keeps nothing: it reads 0 and
// forgets what it is given, so that ids start at 0 without a store.
class QZLOGGER_EXPORT NonVolatileInterface {
public:
    NonVolatileInterface() = default;
    virtual ~NonVolatileInterface();
    NonVolatileInterface(const NonVolatileInterface&) = delete;
    NonVolatileInterface& operator=(const NonVolatileInterface&) = delete;

    // The unique id that the next item gets; 0 in the base class.
    virtual int readUniqueId();
    // Called with every block written; nothing happens in the base class.
    virtual void writeUniqueId(int uniqueId);
};
