#pragma once

#include "LoggerDb.h"

#include <QString>

// Runs a call of the public surface that answers true or false. Where it fails without keeping
// a text of its own, the last error becomes text(): the more precise text of a deeper layer
// wins. Where it succeeds, an error kept before the call stays as it was.
template <typename Call, typename Text> bool withErrorText(Call call, Text text)
{
    LoggerDb& db = LoggerDb::getInstance();
    const QString before = db.getAndResetLastError();
    const bool ok = call();
    if (db.getLastError().isEmpty()) {
        if (!ok)
            db.setError(text());
        else if (!before.isEmpty())
            db.setError(before);
    }
    return ok;
}
