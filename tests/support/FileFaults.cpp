#include "FileFaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace FileFaults {

bool writeAll(const QString& path, const QByteArray& bytes)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const bool written = file.write(bytes) == bytes.size();
    file.close();
    return written;
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

bool truncateTo(const QString& path, qint64 size)
{
    return QFile::resize(path, size);
}

bool overwriteAt(const QString& path, qint64 offset, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return false;
    if (!file.seek(offset))
        return false;
    return file.write(bytes) == bytes.size();
}

qint64 sizeOf(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() ? info.size() : -1;
}

} // namespace FileFaults
