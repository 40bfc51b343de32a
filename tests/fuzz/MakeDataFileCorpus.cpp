// Makes the seed corpus of the data-file fuzz target: data files written by the store itself
// (createFile for the header, then items by positioned writes at the position that openFile
// finds, as the writer appends a block), cut and changed the way cards and writers leave them,
// each paired with control blocks that choose operations on it. The output is the same on
// every run, so the corpus in the repository can be made anew and compared.
//
//     make-datafile-corpus OUTPUT_FOLDER

#include "DataFileFuzzInput.h"

#include "LoggerFileInfo.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace DataFileFuzzInput;

constexpr int32_t kCreatedSec = 1783036800; // 2026-07-03 00:00:00 UTC, as the fuzz target's file
constexpr int32_t kFirstItemSec = kCreatedSec + 3600;

struct Item {
    int32_t sec;
    int32_t nsec;
};

// A data file as the store writes it: the header by createFile, the items by the writer's
// positioned write behind the last whole item.
class StoreWrittenFile {
public:
    StoreWrittenFile(int blockSize, int32_t uniqueId, LoggerDataType dataType = LoggerDataType::MEAN)
        : mBlockSize(blockSize)
    {
        mInfo.UtcCreated = DataTimespec{kCreatedSec, 0};
        mInfo.DataType = dataType;
        mInfo.GuidLow = 0x1234ABCD;
        // Each file of the run has a name of its own.
        static uint32_t files = 0;
        mInfo.GuidHigh = ++files;
        mInfo.mType = LoggerType::CYCLIC;
        mInfo.HeaderSize = kLoggerHeaderSize;
        mInfo.DataBlockSize = blockSize;
        LoggerFileSystem::removeFile(&mInfo);
        QFile file;
        mOk = LoggerFileSystem::createFile(&mInfo, file, 7, 0, uniqueId, 0.015208827f, 0.00023393646f);
    }

    StoreWrittenFile& append(const std::vector<Item>& items)
    {
        std::string block;
        int32_t counter = 0;
        for (const Item& item : items) {
            std::string record(static_cast<size_t>(mBlockSize), '\0');
            std::memcpy(&record[0], &item, std::min<size_t>(sizeof(item), record.size()));
            ++counter;
            if (record.size() >= sizeof(item) + sizeof(counter))
                std::memcpy(&record[sizeof(item)], &counter, sizeof(counter));
            block += record;
        }
        QFile file;
        float parameter1 = 0.0f;
        float parameter2 = 0.0f;
        if (!LoggerFileSystem::openFile(&mInfo, file, -1, 7, false, 0, 0, parameter1, parameter2) ||
            !file.isOpen()) {
            mOk = false;
            return *this;
        }
        int error = 0;
        mOk =
            mOk && LoggerFileIo::writeFully(file.handle(), block.data(), static_cast<qint64>(block.size()),
                                            mInfo.mFilePosition, error) == static_cast<qint64>(block.size());
        file.close();
        return *this;
    }

    StoreWrittenFile& every(int count, int32_t first, int32_t step)
    {
        std::vector<Item> items;
        for (int index = 0; index < count; ++index)
            items.push_back(Item{first + index * step, 0});
        return append(items);
    }

    bool ok() const { return mOk; }

    std::string bytes() const
    {
        QFile file(LoggerFileSystem::getFullFileName(&mInfo));
        if (!file.open(QIODevice::ReadOnly))
            return std::string();
        const QByteArray content = file.readAll();
        return std::string(content.constData(), static_cast<size_t>(content.size()));
    }

private:
    int mBlockSize;
    LoggerFileInfo mInfo;
    bool mOk = false;
};

Control control(Operation operation, int32_t startSec, int32_t endSec, int32_t count = -1)
{
    Control control{};
    control.operation = operation;
    control.blockSizeChoice = 0; // 24 bytes, a MEAN item
    control.startSec = startSec;
    control.endSec = endSec;
    control.count = count;
    control.elementOffset = 8;
    control.elementSize = 4;
    return control;
}

class Corpus {
public:
    explicit Corpus(const QString& folder) : mFolder(folder) {}

    void add(const std::string& name, const Control& control, const std::string& fileBytes)
    {
        QFile file(mFolder + "/" + QString::fromStdString(name));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(file.fileName()));
            mOk = false;
            return;
        }
        const std::string input = inputOf(control, fileBytes);
        file.write(input.data(), static_cast<qint64>(input.size()));
        ++mCount;
    }

    // Every operation once over a file, with times inside its items.
    void addEveryOperation(const std::string& name, const std::string& fileBytes, uint8_t blockSizeChoice,
                           int32_t startSec, int32_t endSec)
    {
        for (int operation = 0; operation < OperationCount; ++operation) {
            Control c = control(static_cast<Operation>(operation), startSec, endSec);
            c.blockSizeChoice = blockSizeChoice;
            c.flags = operation == GetUtcPosition ? Upper : 0;
            c.item = operation == ReadEventData ? 1 : -1;
            c.count = operation == GetEventBufferSize ? 3 : -1;
            add(name + "-op" + std::to_string(operation), c, fileBytes);
        }
    }

    bool ok() const { return mOk; }
    int count() const { return mCount; }

private:
    QString mFolder;
    bool mOk = true;
    int mCount = 0;
};

bool make(Corpus& corpus)
{
    const int32_t t0 = kFirstItemSec;

    StoreWrittenFile ten(24, 500);
    ten.every(10, t0, 10);
    StoreWrittenFile samples(32, 0, LoggerDataType::SAMPLES16);
    samples.every(40, t0, 1);
    StoreWrittenFile two(24, 0);
    two.every(2, t0, 10);
    StoreWrittenFile empty(24, 0);
    StoreWrittenFile duplicates(24, 3);
    duplicates.append({{t0, 0}, {t0 + 1, 0}, {t0 + 1, 0}, {t0 + 1, 0}, {t0 + 2, 0}, {t0 + 2, 0}});
    StoreWrittenFile nanoseconds(16, 0, LoggerDataType::VTQ);
    nanoseconds.append({{t0, 0}, {t0, 250000000}, {t0, 500000000}, {t0, 750000000}, {t0 + 1, 0}});
    StoreWrittenFile unsorted(24, 0);
    unsorted.append({{t0 + 50, 0}, {t0 + 10, 0}, {t0 + 90, 0}, {t0, 0}, {t0 + 20, 0}});
    StoreWrittenFile nearMax(24, INT32_MAX - 1);
    nearMax.every(6, t0, 1);
    StoreWrittenFile atMax(24, INT32_MAX);
    atMax.every(6, t0, 1);
    StoreWrittenFile atMin(24, INT32_MIN);
    atMin.every(6, t0, 1);
    StoreWrittenFile minusOne(24, -1);
    minusOne.every(6, t0, 1);
    for (const StoreWrittenFile* file : {&ten, &samples, &two, &empty, &duplicates, &nanoseconds, &unsorted,
                                         &nearMax, &atMax, &atMin, &minusOne}) {
        if (!file->ok())
            return false;
    }

    corpus.addEveryOperation("ten-mean-items", ten.bytes(), 0, t0 + 20, t0 + 60);
    for (Operation operation : {ReadData, ReadSingleDataElements, GetEventBufferSize}) {
        Control c = control(operation, t0 + 5, t0 + 30, 8);
        c.blockSizeChoice = 2; // 32 bytes, a SAMPLES16 item
        corpus.add("samples16-items-op" + std::to_string(operation), c, samples.bytes());
    }

    // Torn tails: a writer that died inside an item.
    const std::string torn = ten.bytes() + std::string(ten.bytes(), 44, 10);
    for (Operation operation : {GetNumItems, ReadData, OpenFile, ReopenFile})
        corpus.add("torn-tail-op" + std::to_string(operation), control(operation, t0, t0 + 200), torn);

    // Files without items, and one too short for its header.
    const std::string header = empty.bytes();
    for (Operation operation : {GetBufferSize, ReadData, OpenFile, ReadUtcRange})
        corpus.add("header-only-op" + std::to_string(operation), control(operation, t0, t0 + 200), header);
    for (Operation operation : {OpenFile, ReadHeaderOfOpenFile, GetUniqueId})
        corpus.add("43-bytes-op" + std::to_string(operation), control(operation, t0, t0 + 200),
                   header.substr(0, 43));
    for (Operation operation : {OpenFile, ReadData})
        corpus.add("empty-file-op" + std::to_string(operation), control(operation, t0, t0 + 200),
                   std::string());
    Control createMissing = control(OpenFile, t0, t0);
    createMissing.flags = RemoveFirst | Create;
    createMissing.count = 12345;
    corpus.add("missing-file-created", createMissing, std::string());
    Control readMissing = control(ReadData, t0, t0 + 100);
    readMissing.flags = RemoveFirst;
    corpus.add("missing-file-read", readMissing, ten.bytes());

    // Searches: two items, equal stamps, nanoseconds, unsorted items.
    Control between = control(GetUtcPosition, t0 + 5, t0 + 5);
    corpus.add("two-items-between-lower", between, two.bytes());
    between.flags = Upper;
    corpus.add("two-items-between-upper", between, two.bytes());
    corpus.add("duplicates-read", control(ReadData, t0 + 1, t0 + 2), duplicates.bytes());
    corpus.add("duplicates-event", control(GetEventBufferSize, t0 + 2, t0 + 2, 4), duplicates.bytes());
    Control nanos = control(ReadData, t0, t0);
    nanos.startNsec = 300000000;
    nanos.endNsec = 800000000;
    nanos.blockSizeChoice = 1; // 16 bytes
    corpus.add("nanoseconds-read", nanos, nanoseconds.bytes());
    corpus.add("unsorted-read", control(ReadData, t0 + 10, t0 + 50), unsorted.bytes());
    corpus.add("unsorted-inverted-range", control(ReadSingleDataElements, t0 + 90, t0), unsorted.bytes());

    // Unique ids at the limits of an int: the item numbers wrap.
    const std::pair<const char*, const StoreWrittenFile*> limits[] = {
        {"unique-id-int32-max-minus-1", &nearMax},
        {"unique-id-int32-max", &atMax},
        {"unique-id-int32-min", &atMin},
        {"unique-id-minus-1", &minusOne}};
    for (const auto& limit : limits) {
        const std::string bytes = limit.second->bytes();
        corpus.add(std::string(limit.first) + "-read", control(ReadData, t0 + 2, t0 + 5), bytes);
        corpus.add(std::string(limit.first) + "-elements", control(ReadSingleDataElements, t0 + 2, t0 + 5),
                   bytes);
        Control event = control(ReadEventData, t0, t0 + 5);
        event.item = 3;
        corpus.add(std::string(limit.first) + "-event", event, bytes);
        corpus.add(std::string(limit.first) + "-id", control(GetUniqueId, t0, t0), bytes);
    }

    // Counts and positions at the limits.
    const std::string tenBytes = ten.bytes();
    const int32_t counts[] = {INT32_MAX, INT32_MIN, -1, 0};
    for (int32_t count : counts) {
        const std::string suffix = std::to_string(count);
        corpus.add("max-items-" + suffix, control(ReadData, t0, t0 + 90, count), tenBytes);
        corpus.add("event-count-" + suffix, control(GetEventBufferSize, t0 + 50, t0 + 50, count), tenBytes);
        Control page = control(ReadEventData, t0, t0 + 70, count);
        page.flags = CallerSizedEvents;
        corpus.add("event-page-" + suffix, page, tenBytes);
    }
    for (int32_t firstItem : {0, INT32_MAX, -1, INT32_MIN}) {
        Control event = control(ReadEventData, t0, t0 + 90, -1);
        event.item = firstItem;
        corpus.add("first-item-" + std::to_string(firstItem), event, tenBytes);
        Control open = control(OpenFile, t0, t0);
        open.item = firstItem;
        corpus.add("open-at-item-" + std::to_string(firstItem), open, tenBytes);
    }
    for (int32_t blockSize : {1, INT32_MAX, -24, INT32_MIN}) {
        Control raw = control(ReadData, t0, t0 + 90);
        raw.flags = RawBlockSize;
        raw.blockSize = blockSize;
        corpus.add("block-size-" + std::to_string(blockSize), raw, tenBytes);
    }
    // A malformed catalogue row: header and item sizes of the file info out of their range.
    const std::pair<int32_t, int32_t> rows[] = {
        {-44, 24}, {INT32_MAX, 24}, {INT32_MIN, 24}, {44, -24}, {44, 0}};
    for (const auto& row : rows) {
        for (Operation operation : {ReadData, OpenFile, ReopenFile}) {
            Control raw = control(operation, t0, t0 + 90);
            raw.flags = RawFileInfoSizes;
            raw.headerSize = row.first;
            raw.dataBlockSize = row.second;
            corpus.add("file-info-" + std::to_string(row.first) + "-" + std::to_string(row.second) + "-op" +
                           std::to_string(operation),
                       raw, tenBytes);
        }
    }
    Control elements = control(ReadSingleDataElements, t0, t0 + 90);
    elements.elementOffset = INT32_MAX;
    corpus.add("element-offset-int32-max", elements, tenBytes);
    elements.elementOffset = INT32_MIN;
    corpus.add("element-offset-int32-min", elements, tenBytes);
    elements.elementOffset = 20;
    elements.elementSize = 1;
    corpus.add("element-size-1", elements, tenBytes);

    // The file is cut under the reader: at the first read, and at the read of the data.
    for (uint8_t cutAt : {2, 6}) {
        for (int32_t cutLength : {0, 44 + 3 * 24 + 5}) {
            Control cut = control(ReadData, t0, t0 + 90);
            cut.cutAtRead = cutAt;
            cut.cutLength = cutLength;
            corpus.add("cut-at-read-" + std::to_string(cutAt) + "-to-" + std::to_string(cutLength), cut,
                       tenBytes);
        }
    }
    Control cutEvents = control(ReadEventData, t0, t0 + 90);
    cutEvents.item = 2;
    cutEvents.cutAtRead = 4;
    cutEvents.cutLength = 44 + 4 * 24;
    corpus.add("cut-event-read", cutEvents, tenBytes);

    // An export of three items.
    Control export3 = control(WriteExportFile, t0, t0, 3);
    export3.elementSize = 24;
    corpus.add("export-three-items", export3, tenBytes);

    // No file info at all: every operation refuses.
    Control none = control(ReadData, t0, t0 + 90);
    none.flags = NullFileInfo;
    corpus.add("null-file-info", none, tenBytes);

    // The writer's rewrite of its last item.
    Control update = control(UpdateData, t0, t0, 44 + 9 * 24);
    update.elementSize = 24;
    corpus.add("update-last-item", update, tenBytes);
    return corpus.ok();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT_FOLDER\n", argv[0]);
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    if (!QDir().mkpath(folder)) {
        std::fprintf(stderr, "cannot make %s\n", argv[1]);
        return 1;
    }
    QTemporaryDir root;
    if (!root.isValid())
        return 1;
    LoggerFileSystem::setPath(root.path() + "/data");
    Corpus corpus(folder);
    if (!make(corpus)) {
        std::fprintf(stderr, "the store could not write the corpus files: %s\n",
                     qPrintable(LoggerFileSystem::getLastError()));
        return 1;
    }
    std::printf("%d inputs in %s\n", corpus.count(), argv[1]);
    return 0;
}
