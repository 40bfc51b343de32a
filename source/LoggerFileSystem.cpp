// What happens inside one data file: its header, the recovery on opening, the writer's writes,
// the binary search by time and the reads of ranges. The tree of data files and the names in it
// are in LoggerFileTree.cpp.

#include "LoggerFileSystem.h"

#include "LoggerFileIo.h"
#include "LoggerPerformanceCounter.h"
#include "LoggerReadSession.h"

#include <QFile>
#include <QFileInfo>
#include <log4cxx/logger.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

LoggerFileSystem LoggerFileSystem::mInstance;
LoggerPerformanceCounter LoggerFileSystem::mWritePerformance;

namespace {

// Read and write, unbuffered and never creating: a data file is created only with its header.
constexpr QIODevice::OpenMode kWriterOpenMode = QIODevice::OpenMode(0x23);
// rw for owner, user and group.
constexpr QFileDevice::Permissions kDataFilePermissions = QFileDevice::Permissions(0x6660);
// The binary search and the range reads seek and read exactly what they need; Qt's read-ahead
// buffer would turn every 8-byte probe into a 16 KiB read.
constexpr QIODevice::OpenMode kReaderOpenMode = QIODevice::ReadOnly | QIODevice::Unbuffered;
constexpr int kUniqueIdOffset = 32; // offset of uniqueId in the header
constexpr int kUtcSize = 8;         // the time stamp at the start of every item

log4cxx::LoggerPtr exportLogger()
{
    static log4cxx::LoggerPtr logger = log4cxx::Logger::getLogger("Logger.Api");
    return logger;
}

// Negative when the item's time is earlier than utc, 0 when equal, positive when later.
int compareUtc(const DataTimespec& item, const timespec& utc)
{
    if (item.tv_sec != utc.tv_sec)
        return item.tv_sec < utc.tv_sec ? -1 : 1;
    if (item.tv_nsec != utc.tv_nsec)
        return item.tv_nsec < utc.tv_nsec ? -1 : 1;
    return 0;
}

// Unique ids are 32-bit running numbers that wrap in two's complement: the number of an item
// is its file's first id plus its place in the file, taken modulo 2^32.
int wrappedItemNumber(int32_t base, qint64 offset)
{
    return static_cast<int32_t>(static_cast<uint32_t>(base) + static_cast<uint32_t>(offset));
}

// Offsets and counts of this layer are ints: a file beyond 2 GiB is taken as far as an int
// reaches, and its further bytes are not there for it.
int clampToInt(qint64 value)
{
    return static_cast<int>(std::max<qint64>(std::min<qint64>(value, INT32_MAX), INT32_MIN));
}

// One read-only open of a data file for the whole of one read operation: the name is worked
// out once, and every probe is a single positioned read on the descriptor. Within a read session
// (LoggerReadSession) one reader serves every operation on the file, so that a read opens it
// once; each further operation asks the descriptor for the file's status instead of opening it
// again.
class DataFileReader {
public:
    explicit DataFileReader(const LoggerFileInfo* info)
        : DataFileReader(LoggerFileSystem::getFullFileName(info), info->HeaderSize)
    {
    }

    DataFileReader(const QString& name, qint64 headerSize) : mFile(name), mHeaderSize(headerSize) { open(); }

    // For a further operation of the same read: the file as it is now, as a fresh open would see
    // it, through the same descriptor where the file is still the one opened. It may have grown
    // or been cut since (the searches made before are then forgotten), or been removed, and a
    // file of the same name may have been made anew.
    void refresh()
    {
        struct stat status {};
        if (!mOpen || ::fstat(mFile.handle(), &status) != 0 || status.st_nlink == 0) {
            reopen();
            return;
        }
        const qint64 size = std::min<qint64>(status.st_size, INT32_MAX);
        if (size != mSize || !sameTime(status.st_mtim, mModified) || !sameTime(status.st_ctim, mChanged)) {
            mSize = size;
            mModified = status.st_mtim;
            mChanged = status.st_ctim;
            mSearches.clear();
        }
    }

    void reopen()
    {
        mFile.close();
        open();
    }

    bool failedForWantOfDescriptors() const
    {
        return !mOpen && (mOpenError == EMFILE || mOpenError == ENFILE);
    }

    bool isOpen() const { return mOpen; }
    qint64 size() const { return mSize; }

    // Up to `length` bytes at `position`: the count read, short where the file ends first, or -1.
    // Past the end of the file a read returns nothing and is no error.
    qint64 read(qint64 position, char* buffer, qint64 length)
    {
        return LoggerFileIo::readFully(mFile.handle(), buffer, length, position);
    }

    // Like read, but a buffer that must be filled gets zeros where the file gave nothing: a file
    // that shrank under the reader never hands out what the buffer held before.
    qint64 readZeroFilled(qint64 position, char* buffer, qint64 length)
    {
        const qint64 done = read(position, buffer, length);
        if (done >= 0 && done < length)
            std::memset(buffer + done, 0, static_cast<size_t>(length - done));
        return done;
    }

    bool readUtc(qint64 position, DataTimespec& utc)
    {
        return read(position, reinterpret_cast<char*>(&utc), kUtcSize) == kUtcSize;
    }

    int uniqueId()
    {
        int32_t uniqueId = -1;
        if (!mOpen ||
            read(kUniqueIdOffset, reinterpret_cast<char*>(&uniqueId), sizeof(uniqueId)) != sizeof(uniqueId))
            return -1;
        return uniqueId;
    }

    // The position of the item found for utc (see searchUtcPosition). A search made before on
    // the file at its present size and times is answered again with one read instead of a
    // search: the writer changes a file in place only by rewriting its last item, so the answer
    // stands while the stamp of the last item does.
    int utcPosition(timespec utc, int blockSize, bool upper)
    {
        for (auto search = mSearches.begin(); search != mSearches.end(); ++search) {
            if (search->sec != utc.tv_sec || search->nsec != utc.tv_nsec || search->blockSize != blockSize ||
                search->upper != upper)
                continue;
            DataTimespec last{};
            if (readUtc(lastItemOffset(blockSize), last) && last.tv_sec == search->last.tv_sec &&
                last.tv_nsec == search->last.tv_nsec)
                return search->position;
            mSearches.erase(search);
            break;
        }
        DataTimespec last{};
        bool lastRead = false;
        const int position = searchUtcPosition(utc, blockSize, upper, last, lastRead);
        if (lastRead && mSearches.size() < kRememberedSearches)
            mSearches.push_back(Search{utc.tv_sec, utc.tv_nsec, blockSize, upper, position, last});
        return position;
    }

private:
    void open()
    {
        mOpen = LoggerFileIo::current().open(mFile, kReaderOpenMode);
        mOpenError = mOpen ? 0 : errno;
        mSize = 0;
        mSearches.clear();
        struct stat status {};
        if (mOpen && ::fstat(mFile.handle(), &status) == 0) {
            mSize = std::min<qint64>(status.st_size, INT32_MAX);
            mModified = status.st_mtim;
            mChanged = status.st_ctim;
        }
    }

    static bool sameTime(const timespec& a, const timespec& b)
    {
        return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
    }

    qint64 lastItemOffset(int blockSize) const
    {
        return mHeaderSize + ((mSize - mHeaderSize) / blockSize - 1) * blockSize;
    }

    struct Search {
        time_t sec;
        long nsec;
        int blockSize;
        bool upper;
        int position;
        DataTimespec last; // the stamp of the last item when the search was made
    };
    // A read asks for the start and end of its range, in one or two item sizes.
    static constexpr size_t kRememberedSearches = 8;

    int searchUtcPosition(timespec utc, int blockSize, bool upper, DataTimespec& last, bool& lastRead);

    QFile mFile;
    qint64 mHeaderSize;
    qint64 mSize = 0;
    bool mOpen = false;
    int mOpenError = 0;
    timespec mModified{};
    timespec mChanged{};
    std::vector<Search> mSearches;
};

} // namespace

// The readers of a read session, by file name and header size, with the turn each was last used
// in. A session keeps at most kMaximumOpen files open: a read over more files closes the one
// used longest ago, and opens it again where it needs it once more.
struct LoggerReadSessionFiles {
    static constexpr size_t kMaximumOpen = 32;
    struct Slot {
        std::unique_ptr<DataFileReader> reader;
        unsigned long long used = 0;
    };
    std::map<std::pair<QString, qint64>, Slot> readers;
    unsigned long long turn = 0;

    void closeLeastRecentlyUsed()
    {
        auto oldest = readers.end();
        for (auto slot = readers.begin(); slot != readers.end(); ++slot) {
            if (slot->second.reader && (oldest == readers.end() || slot->second.used < oldest->second.used))
                oldest = slot;
        }
        if (oldest != readers.end())
            readers.erase(oldest);
    }

    // Closes every reader but `keep`, where the process ran out of descriptors.
    void closeAllBut(const DataFileReader* keep)
    {
        for (auto slot = readers.begin(); slot != readers.end();) {
            if (slot->second.reader.get() != keep)
                slot = readers.erase(slot);
            else
                ++slot;
        }
    }
};

namespace {

// The session running on this thread; null outside one.
thread_local LoggerReadSessionFiles* tReadSession = nullptr;

// The reader of a file for one operation: the session's where a session runs, else its own.
class ReaderFor {
public:
    explicit ReaderFor(const LoggerFileInfo* info)
    {
        if (tReadSession == nullptr) {
            mOwn = std::make_unique<DataFileReader>(info);
            mReader = mOwn.get();
            return;
        }
        LoggerReadSessionFiles& session = *tReadSession;
        const std::pair<QString, qint64> key{LoggerFileSystem::getFullFileName(info), info->HeaderSize};
        auto found = session.readers.find(key);
        if (found != session.readers.end()) {
            found->second.reader->refresh();
        } else {
            if (session.readers.size() >= LoggerReadSessionFiles::kMaximumOpen)
                session.closeLeastRecentlyUsed();
            found = session.readers.emplace(key, LoggerReadSessionFiles::Slot()).first;
            found->second.reader = std::make_unique<DataFileReader>(key.first, info->HeaderSize);
        }
        found->second.used = ++session.turn;
        mReader = found->second.reader.get();
        if (mReader->failedForWantOfDescriptors()) {
            // The session's own files may be what uses the descriptors up: they go, and the file
            // is tried once more.
            session.closeAllBut(mReader);
            mReader->reopen();
        }
    }

    DataFileReader* operator->() const { return mReader; }
    DataFileReader& operator*() const { return *mReader; }

private:
    std::unique_ptr<DataFileReader> mOwn;
    DataFileReader* mReader = nullptr;
};

// A limit of maxItems items in bytes; a negative maxItems means no limit. Computed in 64 bits
// so that a large count cannot wrap into a small limit.
int limitRange(qint64 size, int maxItems, int blockSize)
{
    const qint64 limit = static_cast<qint64>(maxItems) * blockSize;
    if (limit >= 0 && size > limit)
        size = limit;
    return clampToInt(size);
}

struct ItemRange {
    int startPosition;
    int endPosition;
    int size;
};

// The shared range rule: from the first item at or after start to the last item at or before
// end, in whole items, cut to maxItems.
ItemRange getItemRange(DataFileReader& reader, timespec start, timespec end, int maxItems, int blockSize)
{
    ItemRange range{};
    range.startPosition = reader.utcPosition(start, blockSize, true);
    range.endPosition = reader.utcPosition(end, blockSize, false);
    const qint64 size = static_cast<qint64>(range.endPosition) - range.startPosition + blockSize;
    range.size = limitRange(size, maxItems, blockSize);
    return range;
}

} // namespace

LoggerFileSystem::~LoggerFileSystem() = default;

int LoggerFileSystem::getDataItemSize(LoggerDataType dataType, int flag)
{
    switch (dataType) {
    case LoggerDataType::VTQ: return 16;
    case LoggerDataType::DTQ: return 24;
    case LoggerDataType::MEAN: return 24;
    case LoggerDataType::EVENT: return 24;
    case LoggerDataType::PQEVENT: return 232;
    case LoggerDataType::OPERATOR: return 44;
    case LoggerDataType::RMS: return 16;
    case LoggerDataType::SAMPLES: return 56;
    case LoggerDataType::SIGNALS: return 36;
    case LoggerDataType::SIGNALEVENT: return 48;
    case LoggerDataType::HISTOGRAM: return flag != 0 ? 840 : 10640;
    case LoggerDataType::HARMONICS: return 216;
    case LoggerDataType::STATISTIC: return 32;
    case LoggerDataType::SAMPLES16: return 32;
    case LoggerDataType::COMPLEX: return 2876;
    case LoggerDataType::PREVAILING: return 1448;
    case LoggerDataType::CONTRIBUTION: return 512;
    case LoggerDataType::ITQ: return 16;
    case LoggerDataType::DIGITAL: return 16;
    case LoggerDataType::PERCENTILE: return 636;
    case LoggerDataType::MEAN_7: return 96;
    case LoggerDataType::MEAN_12: return 156;
    case LoggerDataType::MEAN_14: return 180;
    case LoggerDataType::MEAN_16: return 204;
    case LoggerDataType::MEAN_20: return 252;
    case LoggerDataType::MEAN_23: return 288;
    case LoggerDataType::QMETER: return 144;
    case LoggerDataType::MEAN_24: return 300;
    case LoggerDataType::SMETER: return 48;
    // A disturbance logger takes its block size from its typed class; no file may be made
    // from this 0.
    case LoggerDataType::DISTURB:
    case LoggerDataType::NONE: return 0;
    }
    return 0;
}

void LoggerFileSystem::setLastError(const QString& error)
{
    mInstance.mLastError = error;
}

QString LoggerFileSystem::getLastError()
{
    return mInstance.mLastError;
}

namespace {

// Points `file` at the name that `info` gives. A name that changes on an object that already
// had one is worth a trace, but the work goes on with the new name.
bool setFileName(QFile& file, const LoggerFileInfo* info)
{
    const QString newName = LoggerFileSystem::getFullFileName(info);
    if (file.fileName() == newName)
        return false;
    if (!file.fileName().isEmpty())
        LoggerFileSystem::setLastError(QStringLiteral("ATTENSION: Filename change from '") + file.fileName() +
                                       QStringLiteral("' to '") + newName + QStringLiteral("'"));
    file.setFileName(newName);
    return true;
}

} // namespace

bool LoggerFileSystem::createFile(LoggerFileInfo* info, QFile& file, int baseTypeId, int headerWord,
                                  int uniqueId, float parameter1, float parameter2)
{
    if (info == nullptr)
        return false;
    LoggerHeader header;
    std::memset(&header, 0, sizeof(header));
    header.version = kLoggerHeaderVersion;
    header.utcCreatedSec = info->UtcCreated.tv_sec;
    header.utcCreatedNsec = info->UtcCreated.tv_nsec;
    header.dataType = static_cast<int32_t>(info->DataType);
    header.baseTypeId = baseTypeId;
    header.headerWord = headerWord;
    header.uniqueId = uniqueId;
    header.Parameter1 = parameter1;
    header.Parameter2 = parameter2;

    const QDate date = getDateTime(info).date();
    if (file.isOpen())
        file.close();
    if (!createFolder(date.year(), date.month(), date.day())) {
        setLastError(QStringLiteral("could not create folder"));
        return false;
    }
    if (setFileName(file, info))
        file.setPermissions(kDataFilePermissions);

    // The header is written into an existing file as well: it is never truncated here.
    const bool existed = file.exists();
    LoggerFileIo& io = LoggerFileIo::current();
    if (!io.open(file, kWriterOpenMode)) {
        setLastError(LoggerFileIo::openErrorText(file, errno));
        return false;
    }
    // A file made here without its whole header holds nothing: it goes again.
    int error = 0;
    const bool written = LoggerFileIo::writeFully(file.handle(), reinterpret_cast<const char*>(&header),
                                                  kLoggerHeaderSize, 0, error) == kLoggerHeaderSize;
    if (!written) {
        setLastError(LoggerFileIo::errorText(error));
        file.close();
        if (!existed)
            file.remove();
        return false;
    }
    info->mFilePosition = kLoggerHeaderSize;
    file.close();
    return true;
}

bool LoggerFileSystem::openFile(LoggerFileInfo* info, QFile& file, int itemIndex, int baseTypeId, bool create,
                                int headerWord, int uniqueId, float& parameter1, float& parameter2)
{
    if (info == nullptr)
        return false;
    const int headerSize = info->HeaderSize;
    const int blockSize = info->DataBlockSize;
    setFileName(file, info);
    // Every data file begins with a header of at least 44 bytes. Smaller or negative sizes come
    // from a malformed catalogue row: no place to write follows from them, and the file, which
    // may hold items that must not be overwritten, is left as it is.
    if (headerSize < kLoggerHeaderSize || blockSize < 0) {
        setLastError(getFullFileName(info) + QStringLiteral(" logger file size"));
        if (file.isOpen())
            file.close();
        return false;
    }

    if (!file.exists() && create) {
        if (!createFile(info, file, baseTypeId, headerWord, uniqueId, parameter1, parameter2)) {
            setLastError(QStringLiteral("cannot create file"));
            return false;
        }
    }
    // A missing file that is not to be created must fail here instead of appearing without
    // its header.
    if (!file.isOpen() && !LoggerFileIo::current().open(file, kWriterOpenMode | QIODevice::ExistingOnly)) {
        const QFileDevice::FileError error =
            file.error() != QFileDevice::NoError ? file.error() : QFileDevice::OpenError;
        setLastError(QStringLiteral("open file: ") + QString::number(error));
        return false;
    }

    const qint64 size = file.size();
    if (blockSize != 0 && size >= kLoggerHeaderSize && size < headerSize) {
        // The file holds a whole header of its own, but the row names a larger one: the row is
        // what is wrong, and the file, which may hold items, is not made anew over it.
        setLastError(getFullFileName(info) + QStringLiteral(" logger file size"));
        file.close();
        return false;
    }
    if (blockSize == 0 || size < headerSize) {
        // Without a valid header or a defined item size nothing in the file can be read:
        // start it anew. The file object is closed afterwards even on success.
        setLastError(getFullFileName(info) + QStringLiteral(" logger file size"));
        file.close();
        file.remove();
        return createFile(info, file, baseTypeId, headerWord, uniqueId, parameter1, parameter2);
    }

    LoggerHeader header;
    if (file.seek(0) && readHeader(file, header)) {
        parameter1 = header.Parameter1;
        parameter2 = header.Parameter2;
    }

    // A torn last item is not removed, only passed over: the next write overwrites it. The
    // position is an int of the file info: a file is written no further than an int reaches.
    const qint64 numItems = (std::min<qint64>(size, INT32_MAX) - headerSize) / blockSize;
    const qint64 position = itemIndex >= 0 ? headerSize + static_cast<qint64>(itemIndex) * blockSize
                                           : headerSize + numItems * blockSize;
    if (position > INT32_MAX) {
        setLastError(getFullFileName(info) + QStringLiteral(" logger file size"));
        file.close();
        return false;
    }
    const bool seeked = file.seek(position);
    info->mFilePosition = static_cast<int>(position);
    if (numItems == 0)
        info->mFirstDataItem = true;
    return seeked;
}

namespace {

// A reopen needs a row with sizes that can place an item.
bool canReopen(const LoggerFileInfo* info)
{
    return info != nullptr && info->DataBlockSize > 0 && info->HeaderSize >= 0;
}

// The size of the file just reopened on descriptor, by a seek to its end (cheaper than asking
// for the whole status), and the info's position behind its last whole item, where the writer
// writes the next block with a positioned write. False for a file without a whole header or
// beyond an int; the caller closes it.
bool placeBehindLastItem(LoggerFileInfo* info, int descriptor, qint64& size)
{
    size = ::lseek(descriptor, 0, SEEK_END);
    const int headerSize = info->HeaderSize;
    if (size < headerSize || size > INT32_MAX)
        return false;
    const qint64 numItems = (size - headerSize) / info->DataBlockSize;
    info->mFilePosition = static_cast<int>(headerSize + numItems * info->DataBlockSize);
    if (numItems == 0)
        info->mFirstDataItem = true;
    return true;
}

} // namespace

bool LoggerFileSystem::reopenFile(LoggerFileInfo* info, QFile& file, qint64& size)
{
    size = 0;
    if (!canReopen(info) || file.isOpen() || file.fileName().isEmpty())
        return false;
    // Opening without creation is the test for existence: a file that vanished is openFile's.
    if (!LoggerFileIo::current().open(file, kWriterOpenMode | QIODevice::ExistingOnly))
        return false;
    // QFile's own position is not moved: the writer writes at the info's position.
    if (!placeBehindLastItem(info, file.handle(), size)) {
        file.close();
        return false;
    }
    return true;
}

bool LoggerFileSystem::reopenDescriptor(LoggerFileInfo* info, const QByteArray& path, int& descriptor,
                                        qint64& size)
{
    descriptor = -1;
    size = 0;
    if (!canReopen(info) || path.isEmpty())
        return false;
    // Without O_CREAT: a file that vanished is openFile's, as for reopenFile.
    const int opened = LoggerFileIo::current().openDescriptor(path, O_RDWR);
    if (opened < 0)
        return false;
    if (!placeBehindLastItem(info, opened, size)) {
        ::close(opened);
        return false;
    }
    descriptor = opened;
    return true;
}

bool LoggerFileSystem::readHeader(QFile& file, LoggerHeader& header)
{
    if (!file.isOpen() || file.size() < kLoggerHeaderSize)
        return false;
    LoggerHeader read;
    const qint64 position = file.pos();
    if (LoggerFileIo::readFully(file.handle(), reinterpret_cast<char*>(&read), kLoggerHeaderSize, position) !=
        kLoggerHeaderSize)
        return false;
    // As a plain read would, the read moves the file's position past the header.
    file.seek(position + kLoggerHeaderSize);
    header = read;
    return true;
}

bool LoggerFileSystem::readHeader(LoggerFileInfo* info, LoggerHeader& header)
{
    if (info == nullptr)
        return false;
    ReaderFor reader(info);
    if (!reader->isOpen())
        return false;
    // An open file answers true, with the header left as it was where the file holds no whole
    // header.
    LoggerHeader read;
    if (reader->size() >= kLoggerHeaderSize &&
        reader->read(0, reinterpret_cast<char*>(&read), kLoggerHeaderSize) == kLoggerHeaderSize)
        header = read;
    return true;
}

LoggerReadSession::LoggerReadSession()
    : mFiles(tReadSession == nullptr ? new LoggerReadSessionFiles : nullptr)
{
    if (mFiles != nullptr)
        tReadSession = mFiles;
}

LoggerReadSession::~LoggerReadSession()
{
    end();
}

void LoggerReadSession::end()
{
    if (mFiles == nullptr)
        return;
    tReadSession = nullptr;
    delete mFiles;
    mFiles = nullptr;
}

bool LoggerFileSystem::updateData(QFile& file, LoggerFileInfo* info, char* data, int size, int position)
{
    if (info == nullptr || !file.exists())
        return false;
    file.seek(position);
    if (data != nullptr && size > 0 && position >= 0 && file.isOpen()) {
        int error = 0;
        if (LoggerFileIo::writeFully(file.handle(), data, size, position, error) != size)
            setLastError(LoggerFileIo::errorText(error));
    }
    return file.seek(info->mFilePosition);
}

int LoggerFileSystem::writeData(const QString& fileName, int itemSize, int count, char* data)
{
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly))
        return -1;
    // A count or an item size below 1 exports nothing; two negatives must not make a positive.
    const qint64 total =
        data == nullptr || itemSize <= 0 || count <= 0 ? 0 : static_cast<qint64>(itemSize) * count;
    qint64 written = 0;
    while (written < total) {
        const qint64 result = file.write(data + written, total - written);
        if (result < 0) {
            LOG4CXX_ERROR(exportLogger(), "Error writing file: " << fileName.toStdString() << written << ": "
                                                                 << file.errorString().toStdString());
            break;
        }
        if (result == 0) {
            LOG4CXX_ERROR(exportLogger(),
                          "Error writing file: " << fileName.toStdString() << written << " bytes written");
            break;
        }
        written += result;
    }
    file.flush();
    const qint64 size = file.size();
    file.close();
    return static_cast<int>(size);
}

int LoggerFileSystem::getFileSize(LoggerFileInfo* info)
{
    if (info == nullptr)
        return -1;
    return clampToInt(QFileInfo(getFullFileName(info)).size());
}

bool LoggerFileSystem::hasDataItems(LoggerFileInfo* info)
{
    // A header size below 0 comes from a malformed catalogue row: no item lies behind it.
    if (info == nullptr || info->HeaderSize < 0)
        return false;
    return getFileSize(info) > info->HeaderSize;
}

int LoggerFileSystem::getNumDataItems(LoggerFileInfo* info, int)
{
    if (info == nullptr || info->DataBlockSize <= 0 || info->HeaderSize < 0)
        return 0;
    const qint64 size = getFileSize(info);
    if (size <= info->HeaderSize)
        return 0;
    return clampToInt((size - info->HeaderSize) / info->DataBlockSize);
}

int LoggerFileSystem::getUniqueId(LoggerFileInfo* info)
{
    if (info == nullptr)
        return -1;
    ReaderFor reader(info);
    return reader->uniqueId();
}

// Binary search by time on the file itself; only the 8-byte time stamps of the probed items are
// read, about log2(n) of them. Times compare by seconds, then nanoseconds. A time at or after
// the last item gives the last item, one before the first gives the first, whatever `upper`
// says. Otherwise lo and hi close in until they are neighbours: an exact hit gives that item
// (with duplicates, the first of the run), and no hit gives hi (the first item after utc) for
// `upper` and lo (the last item before it) without. A range start is thus looked up with upper,
// a range end without, which keeps a range to whole items inside the asked times.
int DataFileReader::searchUtcPosition(timespec utc, int blockSize, bool upper, DataTimespec& lastStamp,
                                      bool& lastRead)
{
    lastRead = false;
    if (!mOpen || blockSize <= 0 || mSize <= mHeaderSize)
        return -1;
    const qint64 numItems = (mSize - mHeaderSize) / blockSize;
    if (numItems <= 0)
        return -1;
    auto offsetOf = [this, blockSize](qint64 item) {
        return static_cast<int>(mHeaderSize + item * blockSize);
    };
    DataTimespec first{};
    DataTimespec last{};
    if (!readUtc(offsetOf(0), first) || !readUtc(offsetOf(numItems - 1), last))
        return -1;
    lastStamp = last;
    lastRead = true;
    if (compareUtc(last, utc) <= 0)
        return offsetOf(numItems - 1);
    if (compareUtc(first, utc) > 0)
        return static_cast<int>(mHeaderSize);

    qint64 lo = 0;
    qint64 hi = numItems - 1;
    while (hi - lo > 1) {
        const qint64 mid = (lo + hi) / 2;
        DataTimespec probe{};
        if (!readUtc(offsetOf(mid), probe))
            return -1;
        if (compareUtc(probe, utc) < 0) {
            lo = mid;
            first = probe;
        } else {
            hi = mid;
            last = probe;
        }
    }
    if (compareUtc(first, utc) == 0)
        return offsetOf(lo);
    if (compareUtc(last, utc) == 0)
        return offsetOf(hi);
    return upper ? offsetOf(hi) : offsetOf(lo);
}

int LoggerFileSystem::getUtcPosition(LoggerFileInfo* info, timespec utc, int blockSize, bool upper)
{
    if (info == nullptr || blockSize <= 0)
        return -1;
    ReaderFor reader(info);
    return reader->utcPosition(utc, blockSize, upper);
}

int LoggerFileSystem::getBufferSize(LoggerFileInfo* info, timespec start, timespec end, int maxItems,
                                    int blockSize)
{
    if (info == nullptr || blockSize <= 0)
        return 0;
    ReaderFor readerFor(info);
    DataFileReader& reader = *readerFor;
    if (reader.size() - info->HeaderSize < blockSize)
        return 0;
    // A search that finds no item (the header lies outside the file, or an item is too short to
    // hold its time stamp) leaves no range, and no bytes to make room for.
    const ItemRange range = getItemRange(reader, start, end, maxItems, blockSize);
    if (range.startPosition < 0 || range.endPosition < 0)
        return 0;
    return range.size;
}

int LoggerFileSystem::getNumItems(LoggerFileInfo* info, timespec start, timespec end, int maxItems,
                                  int blockSize)
{
    if (info == nullptr || blockSize <= 0)
        return 0;
    ReaderFor readerFor(info);
    DataFileReader& reader = *readerFor;
    const ItemRange range = getItemRange(reader, start, end, maxItems, blockSize);
    if (range.startPosition < 0 || range.endPosition < 0)
        return 0;
    return range.size / blockSize;
}

int LoggerFileSystem::getEventBufferSize(LoggerFileInfo* info, int count, timespec utc, int blockSize)
{
    // A negative count asks for nothing.
    if (count < 0)
        return 0;
    const int position = getUtcPosition(info, utc, blockSize, false);
    if (position < 0)
        return 0;
    const qint64 headerSize = info->HeaderSize;
    const qint64 item = (position - headerSize) / blockSize;
    const qint64 first = std::max<qint64>(item - count + 1, 0);
    return clampToInt(position - (first * blockSize + headerSize) + blockSize);
}

bool LoggerFileSystem::readUtcRange(LoggerFileInfo* info, timespec& first, timespec& last, int)
{
    // A header outside the file leaves no item to take a time from.
    if (info == nullptr || info->DataBlockSize <= 0 || info->HeaderSize < 0)
        return false;
    ReaderFor readerFor(info);
    DataFileReader& reader = *readerFor;
    if (!reader.isOpen())
        return false;
    const qint64 numItems = (reader.size() - info->HeaderSize) / info->DataBlockSize;
    if (numItems <= 0)
        return false;
    DataTimespec firstUtc{0, 0};
    DataTimespec lastUtc{0, 0};
    reader.readUtc(info->HeaderSize, firstUtc);
    reader.readUtc(info->HeaderSize + (numItems - 1) * info->DataBlockSize, lastUtc);
    first = firstUtc;
    last = lastUtc;
    return true;
}

// The result is the size of the range as computed, not as read: a reader behind the writer
// may hit the end of the file short, so the buffer must be zeroed beforehand.
int LoggerFileSystem::readData(LoggerFileInfo* info, timespec start, timespec end, int maxItems,
                               int blockSize, char* buffer, int& firstItemIndex)
{
    if (info == nullptr || blockSize <= 0)
        return -1;
    ReaderFor readerFor(info);
    DataFileReader& reader = *readerFor;
    if (!reader.isOpen())
        return -1;
    const ItemRange range = getItemRange(reader, start, end, maxItems, blockSize);
    if (range.startPosition < 0 || range.endPosition < 0)
        return 0;
    firstItemIndex = wrappedItemNumber(
        reader.uniqueId(), (static_cast<qint64>(range.startPosition) - info->HeaderSize) / blockSize);
    if (range.size <= 0 || buffer == nullptr)
        return range.size;
    if (reader.readZeroFilled(range.startPosition, buffer, range.size) < 0)
        return -1;
    return range.size;
}

// Gathers one field of elementSize bytes at elementOffset from each item. The loop runs while
// the destination is below the range's size in whole-item bytes, so it reads on past the range
// (and past the end of the file, where reads return nothing): the caller takes only as many
// elements as there are items. The last element is cut to what the buffer holds.
int LoggerFileSystem::readSingleDataElements(LoggerFileInfo* info, timespec start, timespec end, int maxItems,
                                             int blockSize, int elementOffset, int elementSize, char* buffer,
                                             int& firstItemIndex)
{
    if (info == nullptr || blockSize <= 0 || elementSize <= 0)
        return -1;
    ReaderFor readerFor(info);
    DataFileReader& reader = *readerFor;
    if (!reader.isOpen())
        return -1;
    const ItemRange range = getItemRange(reader, start, end, maxItems, blockSize);
    if (range.startPosition < 0 || range.endPosition < 0)
        return 0;
    firstItemIndex = wrappedItemNumber(
        reader.uniqueId(), (static_cast<qint64>(range.startPosition) - info->HeaderSize) / blockSize);
    if (range.size <= 0 || buffer == nullptr)
        return range.size;
    qint64 source = static_cast<qint64>(range.startPosition) + elementOffset;
    for (qint64 destination = 0; destination < range.size; destination += elementSize) {
        const qint64 length = std::min<qint64>(elementSize, range.size - destination);
        if (source < 0 || reader.readZeroFilled(source, buffer + destination, length) < 0)
            return -1;
        source += blockSize;
    }
    return range.size;
}

int LoggerFileSystem::readEventData(LoggerFileInfo* info, int firstItem, timespec end, int blockSize,
                                    int maxItems, char* buffer, int& firstItemIndex)
{
    if (info == nullptr || blockSize <= 0 || firstItem < 0)
        return -1;
    ReaderFor readerFor(info);
    DataFileReader& reader = *readerFor;
    if (!reader.isOpen())
        return -1;
    firstItemIndex = wrappedItemNumber(reader.uniqueId(), firstItem);
    const int position = reader.utcPosition(end, blockSize, false);
    if (position < 0)
        return 0;
    const qint64 firstPosition = info->HeaderSize + static_cast<qint64>(blockSize) * firstItem;
    qint64 size = position - firstPosition + blockSize;
    if (maxItems > 0)
        size = std::min<qint64>(size, static_cast<qint64>(maxItems) * blockSize);
    size = std::min<qint64>(size, INT32_MAX);
    if (size <= 0 || buffer == nullptr)
        return clampToInt(size);
    if (firstPosition < 0 || reader.readZeroFilled(firstPosition, buffer, size) < 0)
        return -1;
    return static_cast<int>(size);
}
