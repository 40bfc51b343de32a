#pragma once

#include <QByteArray>
#include <QString>

// Direct file surgery for the fault tests: write, cut and overwrite files behind the store's
// back, the way a pulled card or a dying writer leaves them.
namespace FileFaults {

// Writes `bytes` as the whole content of `path`, making missing parent folders.
bool writeAll(const QString& path, const QByteArray& bytes);
// The whole content of `path`; empty if it can't be read.
QByteArray readAll(const QString& path);
// Cuts (or extends with zeros) the file to `size` bytes.
bool truncateTo(const QString& path, qint64 size);
// Replaces bytes at `offset` without changing anything else.
bool overwriteAt(const QString& path, qint64 offset, const QByteArray& bytes);
// Size on disk, -1 for a missing file.
qint64 sizeOf(const QString& path);

} // namespace FileFaults
