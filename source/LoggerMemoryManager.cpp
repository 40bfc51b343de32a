#include "LoggerMemoryManager.h"

#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "LoggerAccess.h"
#include "LoggerAccessList.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"
#include "LoggerFileSystem.h"
#include "LoggerSDCard.h"
#include "TimeOrder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <mutex>

#include <sys/statvfs.h>

namespace {

// The defaults, in the order in which the constructor sets them. They add up to more than 100
// percent: each family may use its share, and the families rarely fill up together.
struct DefaultQuota {
    LoggerType type;
    LoggerDataType dataType;
    double percent;
};

const DefaultQuota kDefaultQuotas[] = {
    {LoggerType::CYCLIC, LoggerDataType::VTQ, 2},
    {LoggerType::CYCLIC, LoggerDataType::DTQ, 15},
    {LoggerType::CYCLIC, LoggerDataType::MEAN, 20},
    {LoggerType::EVENT, LoggerDataType::EVENT, 20},
    {LoggerType::PQEVENT, LoggerDataType::PQEVENT, 5},
    {LoggerType::PQEVENT, LoggerDataType::SIGNALEVENT, 5},
    {LoggerType::OPERATOR, LoggerDataType::OPERATOR, 10},
    {LoggerType::DISTURB, LoggerDataType::DISTURB, 5},
    {LoggerType::DISTURB, LoggerDataType::RMS, 3},
    {LoggerType::DISTURB, LoggerDataType::SAMPLES, 3},
    {LoggerType::DISTURB, LoggerDataType::SAMPLES16, 3},
    {LoggerType::DISTURB, LoggerDataType::SIGNALS, 3},
    {LoggerType::DISTURB, LoggerDataType::DIGITAL, 0},
    {LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, 10},
    {LoggerType::CYCLIC, LoggerDataType::HARMONICS, 5},
    {LoggerType::CYCLIC, LoggerDataType::STATISTIC, 0.1},
    {LoggerType::CYCLIC, LoggerDataType::COMPLEX, 0.1},
    {LoggerType::CYCLIC, LoggerDataType::PREVAILING, 0.1},
    {LoggerType::CYCLIC, LoggerDataType::CONTRIBUTION, 0.1},
    {LoggerType::CYCLIC, LoggerDataType::PERCENTILE, 0.1},
    {LoggerType::CYCLIC, LoggerDataType::MEAN_7, 0.1},
    {LoggerType::CYCLIC, LoggerDataType::MEAN_12, 0.1},
    {LoggerType::CYCLIC, LoggerDataType::MEAN_14, 0.1},
    {LoggerType::CYCLIC, LoggerDataType::MEAN_16, 0.1},
    {LoggerType::CYCLIC, LoggerDataType::MEAN_20, 0.1},
    {LoggerType::CYCLIC, LoggerDataType::MEAN_23, 0.1},
    {LoggerType::CYCLIC, LoggerDataType::SMETER, 5},
    {LoggerType::CYCLIC, LoggerDataType::QMETER, 5},
    {LoggerType::CYCLIC, LoggerDataType::MEAN_24, 0.1},
};

void dbMessage(const QString& text, LoggerMessageType type)
{
    LoggerDb::getInstance().loggerMessage(text.toStdString(), type);
}

// The files of the path itself, hidden and system ones included.
double dirSizeFlat(const QString& path)
{
    double size = QFileInfo(path).size();
    const QFileInfoList files = QDir(path).entryInfoList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QFileInfo& file : files)
        size += file.size();
    return size;
}

bool clearBaseType(DefnBaseType* rowType)
{
    if (!LoggerDb::getInstance().isInitialized())
        return false;
    // Copies of the rows carry no file lists: the type is loaded anew with its files.
    const auto baseType = DefnTypePersistance().readBaseType(rowType->mType, rowType->Id, "clearBaseType");
    if (!baseType) {
        dbMessage(QStringLiteral("Logger Memory: cannot remove Base Type ") + QString::number(rowType->Id),
                  LOGGER_MESSAGE_FATAL);
        return false;
    }
    bool removed = true;
    const int size = baseType->getFileListSize();
    for (int index = 0; index < size; ++index) {
        const auto file = baseType->getFileInfo(index);
        if (!file) {
            dbMessage(QStringLiteral("clearBaseType: filInfo = nullptr"), LOGGER_MESSAGE_FATAL);
            removed = false;
            continue;
        }
        removed = LoggerFileSystem::removeFile(file.get()) && removed;
    }
    return removed;
}

} // namespace

LoggerMemoryManager LoggerMemoryManager::mInstance;

LoggerMemoryManager::LoggerMemoryManager()
    : mMeasuredTypes{LoggerType::CYCLIC, LoggerType::EVENT, LoggerType::OPERATOR, LoggerType::DISTURB}
{
    for (const DefaultQuota& quota : kDefaultQuotas)
        setMaximalLoggerSize(quota.type, quota.dataType, quota.percent);
}

LoggerMemoryManager::~LoggerMemoryManager() = default;

LoggerMemoryManager& LoggerMemoryManager::getInstance()
{
    // The logger category is named at first use, not at library start-up: naming it configures
    // log4cxx for the process, and a host that configures log4cxx itself must get there first.
    static std::once_flag tracked;
    std::call_once(tracked, [] { mInstance.initTrack(kCategoryMemory); });
    return mInstance;
}

const std::vector<LoggerTypeStruct>& LoggerMemoryManager::storageClasses()
{
    static const std::vector<LoggerTypeStruct> classes = [] {
        std::vector<LoggerTypeStruct> list;
        for (const DefaultQuota& quota : kDefaultQuotas)
            list.emplace_back(quota.type, quota.dataType);
        return list;
    }();
    return classes;
}

// ---------------------------------------------------------------------------------------------
// The card

void LoggerMemoryManager::initialize(const QString& path)
{
    mPath = path;
    readDiskInfo();
    mReserve = mTotal > kLargeCardBytes ? mTotal * 0.01 : mTotal * 0.05;
    mUsedSizes.clear();
    mTimeOfLastAdd = timespec{0, 0};
    for (const LoggerTypeStruct& storageClass : storageClasses())
        initUsedMemory(storageClass.type, storageClass.dataType);
}

void LoggerMemoryManager::readDiskInfo()
{
    LoggerDb& db = LoggerDb::getInstance();
    LoggerSDCard* card = db.getLoggerSDCard();
    if (card == nullptr)
        return;
    if (card->isInitialized() && db.getSize() >= 1 && !db.getPath().isEmpty()) {
        // The card service gives the loggers a partition of a set size. Its use is measured once
        // in the life of the process, so used and free stay at their first values: the accounts,
        // not this figure, follow what the loggers write.
        static const double usedAtFirstCall = dirSize(mPath);
        mBlockSize = 0;
        mTotal = static_cast<double>(db.getSize());
        mUsed = usedAtFirstCall;
        mFree = mTotal - mUsed;
        mUsedPercent = std::ceil(mUsed / mTotal * 100.0);
        return;
    }
    if (mPath.isEmpty())
        return;
    struct statvfs info {};
    statvfs(QFile::encodeName(mPath).constData(), &info);
    // The products are worked in 32 bits, which bounds what this route can report; the width is
    // that of the instrument's own build and stays.
    const uint32_t fragment = static_cast<uint32_t>(info.f_frsize);
    mBlockSize = fragment;
    mTotal = static_cast<uint32_t>(static_cast<uint32_t>(info.f_blocks) * fragment);
    mFree = static_cast<uint32_t>(static_cast<uint32_t>(info.f_bfree) * fragment);
    mUsed = mTotal - mFree;
    mUsedPercent = std::ceil(mUsed / mTotal * 100.0);
}

void LoggerMemoryManager::readFileInfo(const QString& path)
{
    struct statvfs info {};
    statvfs(QFile::encodeName(path).constData(), &info);
}

double LoggerMemoryManager::dirSize(const QString& path)
{
    double size = dirSizeFlat(path);
    const QFileInfoList directories =
        QDir(path).entryInfoList(QDir::Dirs | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo& directory : directories)
        size += dirSize(directory.filePath());
    return size;
}

double LoggerMemoryManager::roundUp(double bytes) const
{
    if (mBlockSize > 0)
        return mBlockSize * std::ceil(bytes / mBlockSize);
    return bytes;
}

DiskInfo LoggerMemoryManager::getDiskInfo()
{
    const LoggerMemoryManager& manager = getInstance();
    return DiskInfo{manager.mTotal, manager.mFree, manager.mUsed};
}

// ---------------------------------------------------------------------------------------------
// The accounts

void LoggerMemoryManager::initUsedMemory(LoggerType type, LoggerDataType dataType)
{
    mUsedSizes[LoggerTypeStruct(type, dataType)] = readUsedMemorySize(type, dataType);
}

double LoggerMemoryManager::readUsedMemorySize(LoggerType type, LoggerDataType dataType)
{
    double size = 0;
    const std::vector<DefnBaseType> rows =
        DefnTypePersistance().readBaseTypes(type, dataType, QString(), true);
    for (const DefnBaseType& row : rows) {
        const auto baseType = DefnTypePersistance().readBaseType(type, row.Id, "readBaseType");
        if (!baseType) {
            TRACK_ERROR(*this, QStringLiteral("ptrBaseType == nullptr"));
            continue;
        }
        const int count = baseType->getFileListSize();
        for (int index = 0; index < count; ++index) {
            const auto file = baseType->getFileInfo(index);
            if (!file) {
                TRACK_ERROR(*this, QStringLiteral("readUsedMemorySize: fileInfo = nullptr"));
                continue;
            }
            size += roundUp(LoggerFileSystem::getFileSize(file.get()));
        }
    }
    return size;
}

void LoggerMemoryManager::setMaximalLoggerSize(LoggerType type, LoggerDataType dataType, double percent)
{
    mMaximalSizes[LoggerTypeStruct(type, dataType)] = percent;
}

double LoggerMemoryManager::getMaximalLoggerSize(LoggerType type, LoggerDataType dataType) const
{
    return mMaximalSizes.value(LoggerTypeStruct(type, dataType), 0.0);
}

// The eviction decision, at every block a logger writes: its fast path touches hash entries
// only, and the card is asked at most once per kDiskInfoIntervalSeconds of logger time.
PtrLoggerFileInfo LoggerMemoryManager::addDataSize(LoggerType type, LoggerDataType dataType, int size,
                                                   QFile* file, bool check, bool& removed, timespec time)
{
    removed = true;
    long elapsed = static_cast<long>(time.tv_sec - mTimeOfLastAdd.tv_sec);
    if (time.tv_sec == 0 || mTimeOfLastAdd.tv_sec == 0 || elapsed < 0)
        elapsed = kElapsedUnknown;
    mTimeOfLastAdd = time;

    const LoggerTypeStruct key(type, dataType);
    auto account = mUsedSizes.find(key);
    if (account == mUsedSizes.end()) {
        // The first block of a family only opens its account; it never evicts.
        mUsedSizes.insert(key, size);
        return nullptr;
    }
    account.value() += size;
    if (!check || size < 0)
        return nullptr;
    if (elapsed > kDiskInfoIntervalSeconds)
        readDiskInfo();

    const float diskSize = static_cast<float>(getLoggerDiskSize());
    if (diskSize == 0.0f || file == nullptr)
        return nullptr;
    const float used = static_cast<float>(account.value());
    const float max = static_cast<float>(mMaximalSizes[key]);
    const float percent = used / diskSize * 100.0f;

    if (mFree < mReserve) {
        // The card as a whole runs short: the family being written gives up its oldest file,
        // whatever its share.
        dbMessage(QStringLiteral("SD-Card limit reached, available = ") + QString::number(mFree, 'g', 6) +
                      QStringLiteral(", reserve = ") + QString::number(mReserve, 'g', 6),
                  LOGGER_MESSAGE_INFO);
    } else if (!(percent - max >= 0.0f)) {
        // Below the quota, or a share that is not a number.
        return nullptr;
    }

    const qint64 fileSize = file->size();
    PtrLoggerFileInfo removedFile = removeOldestLoggerFileInfo(type, dataType, file, removed);
    if (!removedFile)
        TRACK_INFO(*this, QStringLiteral("file not removed ") + file->fileName());
    dbMessage(QStringLiteral("remove, used= ") + QString::number(used, 'g', 4) + QStringLiteral(" max= ") +
                  QString::number(max, 'g', 4) + QStringLiteral(" percent= ") +
                  QString::number(percent, 'g', 4) + QStringLiteral(" fileSize= ") +
                  QString::number(static_cast<double>(fileSize), 'g', 6) + QStringLiteral(" fileName= ") +
                  file->fileName(),
              LOGGER_MESSAGE_ROUTINE);
    return removedFile;
}

void LoggerMemoryManager::subtractDataSize(const LoggerTypeStruct& type, int size)
{
    auto account = mUsedSizes.find(type);
    if (account == mUsedSizes.end()) {
        mUsedSizes.insert(type, 0);
        return;
    }
    account.value() -= size;
}

void LoggerMemoryManager::subtractDeletedSize(LoggerType type, LoggerDataType dataType, int size)
{
    LoggerMemoryManager& manager = getInstance();
    const LoggerTypeStruct key(type, dataType);
    auto account = manager.mUsedSizes.find(key);
    if (account == manager.mUsedSizes.end())
        manager.mUsedSizes.insert(key, 0);
    else
        account.value() -= size;
    // A family without a count starts it at 0 with this file: the instrument's figure has always
    // counted that way, and its readers compare against it.
    auto count = manager.mDeletedFileCounts.find(key);
    if (count == manager.mDeletedFileCounts.end())
        manager.mDeletedFileCounts.insert(key, 0);
    else
        ++count.value();
}

double LoggerMemoryManager::getUsedSize(LoggerType type, LoggerDataType dataType) const
{
    const auto account = mUsedSizes.constFind(LoggerTypeStruct(type, dataType));
    if (account == mUsedSizes.constEnd())
        return 0;
    return account.value() / getLoggerDiskSize() * 100.0;
}

int LoggerMemoryManager::getUsedBytes(LoggerType type, LoggerDataType dataType) const
{
    const auto account = mUsedSizes.constFind(LoggerTypeStruct(type, dataType));
    if (account == mUsedSizes.constEnd())
        return 0;
    return static_cast<int>(static_cast<int64_t>(account.value()));
}

double LoggerMemoryManager::getUsedMemoryPercent(LoggerType type, LoggerDataType dataType) const
{
    const auto account = mUsedSizes.constFind(LoggerTypeStruct(type, dataType));
    if (account == mUsedSizes.constEnd()) {
        TRACK_INFO(*this, QStringLiteral("No Memory key ") + QString::number(static_cast<int>(type)) +
                              QStringLiteral(", ") + QString::number(static_cast<int>(dataType)));
        return 0;
    }
    const double diskSize = getLoggerDiskSize();
    if (diskSize == 0)
        return 0;
    return account.value() / diskSize * 100.0;
}

double LoggerMemoryManager::getFreeMemoryPercent(LoggerType type, LoggerDataType dataType) const
{
    const LoggerTypeStruct key(type, dataType);
    const auto account = mUsedSizes.constFind(key);
    const float diskSize = static_cast<float>(getLoggerDiskSize());
    if (account == mUsedSizes.constEnd() || diskSize == 0.0f)
        return 0;
    const float used = static_cast<float>(account.value()) / diskSize * 100.0f;
    return static_cast<float>(mMaximalSizes.value(key, 0.0)) - used;
}

double LoggerMemoryManager::getDatabaseSize() const
{
    return roundUp(LoggerDb::getInstance().getDataBaseSize());
}

double LoggerMemoryManager::getDatabaseSizePercent() const
{
    return getDatabaseSize() / mTotal * 100.0;
}

double LoggerMemoryManager::getLoggerDiskSize() const
{
    return mTotal - mReserve - getDatabaseSize();
}

double LoggerMemoryManager::getDiskFileSize(LoggerFileInfo* fileInfo) const
{
    return roundUp(LoggerFileSystem::getFileSize(fileInfo));
}

void LoggerMemoryManager::roundToBlockSize(const PtrLoggerFileInfo& fileInfo)
{
    if (getInstance().mBlockSize > 0 && fileInfo)
        LoggerFileSystem::getFileSize(fileInfo.get());
}

int LoggerMemoryManager::deletedFileCount(LoggerType type, LoggerDataType dataType) const
{
    return mDeletedFileCounts.value(LoggerTypeStruct(type, dataType), 0);
}

void LoggerMemoryManager::clearDeletedFiles(LoggerType type, LoggerDataType dataType)
{
    mDeletedFileCounts[LoggerTypeStruct(type, dataType)] = 0;
}

// ---------------------------------------------------------------------------------------------
// Eviction and file lists

std::shared_ptr<DefnBaseType>
LoggerMemoryManager::getOldestLoggerFileInfo(LoggerType type, LoggerDataType dataType, int& index)
{
    index = -1;
    const auto access = LoggerAccessList::getInstance()->getOldestFileInfo(type, dataType, index);
    return access ? access->getCurrentBaseType() : nullptr;
}

PtrLoggerFileInfo LoggerMemoryManager::removeOldestLoggerFileInfo(LoggerType type, LoggerDataType dataType,
                                                                  QFile*, bool& removed)
{
    removed = true;
    if (!LoggerDb::getInstance().isInitialized())
        return nullptr;
    return LoggerAccessList::getInstance()->removeOldestFile(type, dataType);
}

std::vector<PtrLoggerFileInfo> LoggerMemoryManager::getFileList(LoggerType type, LoggerDataType dataType,
                                                                const QString& filter)
{
    std::vector<PtrLoggerFileInfo> files;
    if (!LoggerDb::getInstance().isInitialized())
        return files;
    const std::vector<DefnBaseType> rows = DefnTypePersistance().readBaseTypes(type, dataType, filter, true);
    for (const DefnBaseType& row : rows) {
        const auto baseType = DefnTypePersistance().readBaseType(type, row.Id, "getFileList");
        if (!baseType) {
            dbMessage(QStringLiteral("cannot read Base Type ") + QString::number(row.Id),
                      LOGGER_MESSAGE_FATAL);
            continue;
        }
        const int count = baseType->getFileListSize();
        for (int index = 0; index < count; ++index) {
            const auto file = baseType->getFileInfo(index);
            if (!file)
                continue;
            file->mType = type;
            files.push_back(file);
        }
    }
    std::stable_sort(files.begin(), files.end(), [](const PtrLoggerFileInfo& a, const PtrLoggerFileInfo& b) {
        return isEarlier(a->UtcStart, b->UtcStart);
    });
    return files;
}

void LoggerMemoryManager::clearMeasuredTypes(LoggerType type, LoggerDataType dataType)
{
    std::vector<DefnBaseType> rows = DefnTypePersistance().readBaseTypes(type, dataType, QString(), true);
    bool cleared = true;
    for (DefnBaseType& row : rows)
        cleared = clearBaseType(&row) && cleared;
    if (!cleared)
        dbMessage(QStringLiteral("cannot clear Measured Types"), LOGGER_MESSAGE_FATAL);
}

// ---------------------------------------------------------------------------------------------
// Texts

QString LoggerMemoryManager::debugUsedMemorySize(LoggerType type, LoggerDataType dataType)
{
    const double size = readUsedMemorySize(type, dataType);
    const double diskSize = getLoggerDiskSize();
    const double percent = diskSize != 0 ? size / diskSize * 100.0 : 0.0;
    return LoggerDebug::getMemorySizeString(type, dataType, size, percent);
}

QString LoggerMemoryManager::debugUsedMemories()
{
    QString text;
    for (const LoggerTypeStruct& storageClass : storageClasses()) {
        if (!text.isEmpty())
            text += QLatin1Char('\n');
        text += debugUsedMemorySize(storageClass.type, storageClass.dataType);
    }
    return text;
}
