#include "CheckMountPath.h"

#include <QFile>
#include <QTextStream>

namespace {

constexpr const char* kDefaultPath = "/media/sdcard";
constexpr const char* kDefaultMountInfo = "/proc/self/mountinfo";
// Log files live on internal flash, which is always there.
constexpr const char* kAlwaysMountedPath = "/var/log";

} // namespace

CheckMountPath::CheckMountPath() : CheckMountPath(QString::fromLatin1(kDefaultPath))
{
}

CheckMountPath::CheckMountPath(const QString& path)
    : mPath(path), mMountInfo(QString::fromLatin1(kDefaultMountInfo))
{
}

QString CheckMountPath::getPath() const
{
    return mPath;
}

void CheckMountPath::setPath(const QString& path)
{
    mPath = path;
}

void CheckMountPath::setMountInfo(const QString& mountInfo)
{
    mMountInfo = mountInfo;
}

bool CheckMountPath::isMounted() const
{
    if (!QFile::exists(mMountInfo))
        return false;
    if (mPath.contains(QLatin1String(kAlwaysMountedPath)))
        return true;

    // The kernel's tables report a size of 0, so they are read line by line to the end.
    QFile table(mMountInfo);
    if (!table.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    QTextStream lines(&table);
    QString line;
    while (lines.readLineInto(&line)) {
        if (line.contains(mPath))
            return true;
    }
    return false;
}
