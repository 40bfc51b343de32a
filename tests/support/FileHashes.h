#pragma once

#include <QByteArray>
#include <QString>

#include <map>

// What a test compares to tell that no byte of a store changed: the SHA-256 of a file's bytes
// (empty where it cannot be read), and every file below a folder, hidden ones included, by its
// path with that hash.
QByteArray fileHash(const QString& name);
std::map<QString, QByteArray> fileHashesBelow(const QString& folder);
