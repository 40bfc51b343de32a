#include "TmpfsMount.h"

#include "RunProgram.h"

#include <QStringList>

#include <sys/statvfs.h>

TmpfsMount::TmpfsMount(const QString& path, qint64 bytes) : mPath(path)
{
    QString output;
    const int code = runProgram(QStringLiteral("mount"),
                                {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                                 QStringLiteral("size=%1").arg(bytes), QStringLiteral("tmpfs"), path},
                                output);
    mMounted = code == 0;
    if (!mMounted) {
        mError = QStringLiteral("mount -t tmpfs on %1 failed (%2): %3").arg(path).arg(code).arg(output);
    }
}

TmpfsMount::~TmpfsMount()
{
    if (!mMounted) {
        return;
    }
    QString output;
    if (runProgram(QStringLiteral("umount"), {mPath}, output) != 0) {
        runProgram(QStringLiteral("umount"), {QStringLiteral("-l"), mPath}, output);
    }
}

qint64 TmpfsMount::freeBytes() const
{
    struct statvfs info {};
    if (!mMounted || statvfs(mPath.toLocal8Bit().constData(), &info) != 0) {
        return -1;
    }
    return static_cast<qint64>(info.f_bavail) * static_cast<qint64>(info.f_frsize);
}
