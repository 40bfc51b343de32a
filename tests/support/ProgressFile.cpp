#include "ProgressFile.h"

#include <QByteArray>
#include <QFile>

#include <cstdio>

bool publishProgress(const QString& name, int64_t finished)
{
    const QString temporary = name + QStringLiteral(".new");
    QFile file(temporary);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const QByteArray text = QByteArray::number(static_cast<qlonglong>(finished)) + '\n';
    if (file.write(text) != text.size())
        return false;
    file.close();
    return std::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(name).constData()) == 0;
}

int64_t readProgress(const QString& name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    bool ok = false;
    const qlonglong finished = file.readAll().trimmed().toLongLong(&ok);
    return ok ? finished : -1;
}
