#include "FileHashes.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>

QByteArray fileHash(const QString& name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

std::map<QString, QByteArray> fileHashesBelow(const QString& folder)
{
    std::map<QString, QByteArray> hashes;
    QDirIterator files(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        hashes[path] = fileHash(path);
    }
    return hashes;
}
