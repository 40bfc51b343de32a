// The tree of data files below the root and the names in it: a folder per year, month and day
// of a file's creation in local time (and week folders beside them), a file's name made of its
// data type's tag and its identity, and the making, finding and removing of folders and files by
// those names. What happens inside one data file is in LoggerFileSystem.cpp.

#include "LoggerFileSystem.h"

#include <QDate>
#include <QDir>
#include <QFileInfo>
#include <QStringList>
#include <QUuid>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

QString LoggerFileSystem::loggerDataTypeString(LoggerDataType dataType)
{
    switch (dataType) {
    case LoggerDataType::NONE: return QStringLiteral("Nn");
    case LoggerDataType::VTQ: return QStringLiteral("Vt");
    case LoggerDataType::DTQ: return QStringLiteral("Dt");
    case LoggerDataType::MEAN: return QStringLiteral("Mn");
    case LoggerDataType::EVENT: return QStringLiteral("Ev");
    case LoggerDataType::PQEVENT: return QStringLiteral("Pq");
    case LoggerDataType::OPERATOR: return QStringLiteral("Op");
    case LoggerDataType::DISTURB: return QStringLiteral("Ds");
    case LoggerDataType::RMS: return QStringLiteral("Rm");
    case LoggerDataType::SAMPLES: return QStringLiteral("Sm");
    case LoggerDataType::SIGNALS: return QStringLiteral("Si");
    case LoggerDataType::SIGNALEVENT: return QStringLiteral("Se");
    case LoggerDataType::HISTOGRAM: return QStringLiteral("Hi");
    case LoggerDataType::HARMONICS: return QStringLiteral("Ha");
    case LoggerDataType::STATISTIC: return QStringLiteral("St");
    case LoggerDataType::SAMPLES16: return QStringLiteral("Sm");
    case LoggerDataType::COMPLEX: return QStringLiteral("Cx");
    case LoggerDataType::PREVAILING: return QStringLiteral("Pr");
    case LoggerDataType::CONTRIBUTION: return QStringLiteral("Cb");
    case LoggerDataType::ITQ: return QStringLiteral("It");
    case LoggerDataType::DIGITAL: return QStringLiteral("Di");
    case LoggerDataType::PERCENTILE: return QStringLiteral("Pe");
    case LoggerDataType::MEAN_7: return QStringLiteral("m7");
    case LoggerDataType::MEAN_12: return QStringLiteral("m12");
    case LoggerDataType::MEAN_14: return QStringLiteral("m14");
    case LoggerDataType::MEAN_16: return QStringLiteral("m16");
    case LoggerDataType::MEAN_20: return QStringLiteral("m20");
    case LoggerDataType::MEAN_23: return QStringLiteral("m23");
    case LoggerDataType::QMETER: return QStringLiteral("qm");
    case LoggerDataType::MEAN_24: return QStringLiteral("m24");
    case LoggerDataType::SMETER: return QStringLiteral("sym");
    }
    return QStringLiteral("Nd");
}

void LoggerFileSystem::setPath(const QString& path)
{
    mInstance.mPath = path;
}

QString LoggerFileSystem::getPath()
{
    return mInstance.mPath;
}

QString LoggerFileSystem::getFullDayFolderPath(int year, int month, int day)
{
    QString path = mInstance.mPath + QLatin1Char('/') + QString::number(year);
    if (month < 0)
        return path;
    path += QLatin1Char('/') + QString::number(month);
    if (day < 0)
        return path;
    return path + QLatin1Char('/') + QString::number(day);
}

QString LoggerFileSystem::getFullWeekFolderPath(int year, int week)
{
    return mInstance.mPath + QLatin1Char('/') + QString::number(year) + QStringLiteral("/KW") +
           QString::number(week);
}

namespace {

// Local midnight of 1970-01-01 as a time_t. mktime reads the time-zone file on every call, and
// every file name of a read needs this value: each thread keeps it for the TZ setting that it
// was worked out for and works it out anew when TZ changes.
time_t localEpoch()
{
    struct Cached {
        bool valid = false;
        std::string zone;
        time_t epoch = 0;
    };
    thread_local Cached cached;
    const char* zone = std::getenv("TZ");
    const std::string current = zone == nullptr ? std::string("\x01unset") : std::string(zone);
    if (!cached.valid || cached.zone != current) {
        tm epoch{};
        epoch.tm_year = 70;
        epoch.tm_mon = 0;
        epoch.tm_mday = 1;
        epoch.tm_isdst = -1;
        cached.epoch = mktime(&epoch);
        cached.zone = current;
        cached.valid = true;
    }
    return cached.epoch;
}

// Local midnight of 1970-01-01 plus the creation time, in local time. The same function names
// the folder when a file is created and when it is looked for, so both agree as long as the
// process's time zone stays. Worked out with the C library rather than QDateTime, whose local
// time arithmetic would dominate the cost of every read.
bool localCreationTime(const LoggerFileInfo* info, tm& local, int& milliseconds)
{
    const time_t localEpoch = ::localEpoch();
    const int64_t sinceEpochMs = static_cast<int64_t>(localEpoch) * 1000 +
                                 static_cast<int64_t>(info->UtcCreated.tv_sec) * 1000 +
                                 info->UtcCreated.tv_nsec / 1000000;
    int64_t seconds = sinceEpochMs / 1000;
    int64_t remainder = sinceEpochMs % 1000;
    if (remainder < 0) {
        remainder += 1000;
        --seconds;
    }
    const time_t instant = static_cast<time_t>(seconds);
    milliseconds = static_cast<int>(remainder);
    return localtime_r(&instant, &local) != nullptr;
}

} // namespace

QDateTime LoggerFileSystem::getDateTime(const LoggerFileInfo* info)
{
    if (info == nullptr)
        return QDateTime(QDate(1970, 1, 1), QTime(0, 0), Qt::LocalTime);
    tm local{};
    int milliseconds = 0;
    if (!localCreationTime(info, local, milliseconds))
        return QDateTime();
    return QDateTime(QDate(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday),
                     QTime(local.tm_hour, local.tm_min, local.tm_sec, milliseconds), Qt::LocalTime);
}

QString LoggerFileSystem::getFullFileName(const LoggerFileInfo* info)
{
    if (info == nullptr)
        return QStringLiteral("getFullFileName : nullptr");
    tm local{};
    int milliseconds = 0;
    localCreationTime(info, local, milliseconds);
    // The guid halves are written without leading zeros, so a name cannot be split back.
    return getFullDayFolderPath(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday) + QLatin1Char('/') +
           loggerDataTypeString(info->DataType) + QString::number(info->GuidLow, 16).toUpper() +
           QString::number(info->GuidHigh, 16).toUpper() + QStringLiteral(".bin");
}

bool LoggerFileSystem::createFolder(int year, int month, int day)
{
    const QString path = getFullDayFolderPath(year, month, day);
    if (QDir(path).exists())
        return true;
    if (!QDir().mkpath(path)) {
        setLastError(QStringLiteral("Cannot create directory"));
        return false;
    }
    return true;
}

bool LoggerFileSystem::createWeekFolder(int year, int week)
{
    // Week folders serve callers outside the read and write paths; a failure matters to none.
    QDir().mkpath(getFullWeekFolderPath(year, week));
    return true;
}

bool LoggerFileSystem::removeFolder(int year, int month, int day)
{
    const QString path = getFullDayFolderPath(year, month, day);
    if (!QDir(path).exists())
        return false;
    // rmdir refuses a folder that still holds anything: files are never removed here.
    return QDir().rmdir(path);
}

bool LoggerFileSystem::removeAllFiles(const QString& path)
{
    return QDir(path).removeRecursively();
}

bool LoggerFileSystem::RemoveLoggerFolder()
{
    QDir root(mInstance.mPath);
    if (mInstance.mPath.isEmpty() || !root.exists())
        return false;
    return root.removeRecursively();
}

bool LoggerFileSystem::removeFile(const LoggerFileInfo* info)
{
    if (info == nullptr)
        return false;
    return std::remove(getFullFileName(info).toUtf8().constData()) == 0;
}

bool LoggerFileSystem::fileExists(LoggerFileInfo* info)
{
    if (info == nullptr)
        return false;
    return QFileInfo::exists(getFullFileName(info));
}

void LoggerFileSystem::createFileUuid(LoggerFileInfo& info)
{
    // Only the last eight bytes of the uuid are kept; each half is read as a little-endian word.
    const QByteArray bytes = QUuid::createUuid().toRfc4122();
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.constData());
    auto littleEndianWord = [data](int offset) {
        return static_cast<uint32_t>(data[offset]) | (static_cast<uint32_t>(data[offset + 1]) << 8) |
               (static_cast<uint32_t>(data[offset + 2]) << 16) |
               (static_cast<uint32_t>(data[offset + 3]) << 24);
    };
    info.GuidLow = littleEndianWord(8);
    info.GuidHigh = littleEndianWord(12);
}

void LoggerFileSystem::initFileInfo(timespec created, LoggerType type, LoggerDataType dataType, int blockSize,
                                    LoggerFileInfo* info)
{
    if (info == nullptr)
        return;
    info->UtcCreated = created;
    info->UtcStart = DataTimespec{0, 0};
    info->UtcEnd = DataTimespec{0, 0};
    info->DataType = dataType;
    info->mType = type;
    info->HeaderSize = kLoggerHeaderSize;
    info->DataBlockSize = blockSize;
    info->mFirstDataItem = true;
    createFileUuid(*info);
}

time_t LoggerFileSystem::getTimeStamp(int year, int month, int day, int hour)
{
    const qint64 days = QDate(1970, 1, 1).daysTo(QDate(year, month, day));
    return static_cast<time_t>((days * 24 + hour) * 3600);
}

int LoggerFileSystem::getBiggestFolderNumber(const QString& path)
{
    // Names that are no numbers count as 0, so KW folders and foreign folders never win.
    int biggest = 0;
    const QStringList entries = QDir(path).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::NoSort);
    for (const QString& entry : entries)
        biggest = std::max(biggest, entry.toInt(nullptr, 10));
    return biggest;
}

void LoggerFileSystem::getNewestDate(int& year, int& month, int& day)
{
    year = 0;
    month = 0;
    day = 0;
    year = getBiggestFolderNumber(mInstance.mPath);
    if (year <= 0)
        return;
    month = getBiggestFolderNumber(getFullDayFolderPath(year, -1, -1));
    if (month <= 0)
        return;
    day = getBiggestFolderNumber(getFullDayFolderPath(year, month, -1));
}

QString LoggerFileSystem::toString(LoggerFileInfo* info)
{
    if (info == nullptr)
        return QString();
    QString prefix;
    switch (info->mType) {
    case LoggerType::CYCLIC: prefix = QStringLiteral("cycl "); break;
    case LoggerType::EVENT: prefix = QStringLiteral("evnt "); break;
    case LoggerType::PQEVENT: prefix = QStringLiteral("pqev "); break;
    case LoggerType::DISTURB: prefix = QStringLiteral("dist "); break;
    case LoggerType::OPERATOR: prefix = QStringLiteral("oper "); break;
    default: prefix = QStringLiteral("---- "); break;
    }
    return prefix + getFullFileName(info);
}
