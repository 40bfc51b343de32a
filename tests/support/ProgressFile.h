#pragma once

#include <QString>

#include <cstdint>

// A number that a writer process tells its readers through a small file: how many items it has
// finished. The file is replaced by a rename, so that a reader sees either the old number or the
// new one, never a part of either.
bool publishProgress(const QString& name, int64_t finished);
// -1 where the file is missing or unreadable.
int64_t readProgress(const QString& name);
