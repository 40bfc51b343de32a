// The list of files of a read by time passes over the files that the catalogue places wholly
// outside the range, without opening them. On random stores every read must answer exactly as
// the walk that opens every file of the logger: the list and its size, the items of getValues
// with their count, first item id and header, and the count of getNumItems.
//
// The stores hold many files with gaps between them and without, equal time stamps within a file
// and across the boundary of two files, files without items and files missing from the card, and
// catalogued ranges as the writer leaves them: true ranges, a start of 0 where the first item was
// never catalogued, ranges wider than the items where blocks came out of order, and, as a power
// cut leaves them, a newest file whose items run on beyond its catalogued range (or whose range
// the catalogue never learnt), with a torn item at its end, or a file begun just before the cut
// that holds no item. Some reads lose a file between the list and the read, as quota eviction
// removes one.
//
// QZLOGGER_FILEWALK_SEED sets the seed, QZLOGGER_FILEWALK_CASES the number of stores.

#include "CataloguedFiles.h"
#include "DataFileBuilder.h"
#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "FileInfoPersistance.h"
#include "FileListInfo.h"
#include "LoggerApiBase.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerRetriedTransaction.h"
#include "LoggerTestSeams.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QFile>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Vtq = DataXtq<float>;
using VtqResult = LoggerResult<Vtq, void*>;
constexpr int kBlock = sizeof(Vtq);
constexpr int32_t kFirstSecond = 1783036800; // 2026-07-03 00:00:00 UTC
constexpr int kReadsPerStore = 14;
constexpr int kValueReadsPerStore = 5; // getValues pauses after every read that finds files

bool isEarlierThan(const timespec& a, const timespec& b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

int environmentNumber(const char* name, int fallback)
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(name, &ok);
    return ok ? value : fallback;
}

// One file of a random store: its items and torn bytes on the card, and the range that the
// catalogue holds for it.
struct StoreFile {
    std::vector<DataTimespec> stamps;
    int tornBytes = 0;
    bool onCard = true;
    DataTimespec cataloguedStart{0, 0};
    DataTimespec cataloguedEnd{0, 0};
    QString path;
    QByteArray bytes;
};

// What a read answered, for comparison.
struct Answer {
    std::vector<int> listedIds;
    int totalSize = 0;
    bool valuesNull = true;
    int numItems = 0;
    QByteArray items;
    int firstItemId = 0;
    QByteArray header;
    int numItemsCounted = 0;

    bool operator==(const Answer& other) const
    {
        return listedIds == other.listedIds && totalSize == other.totalSize &&
               valuesNull == other.valuesNull && numItems == other.numItems && items == other.items &&
               firstItemId == other.firstItemId && header == other.header &&
               numItemsCounted == other.numItemsCounted;
    }
};

std::string describe(const Answer& answer)
{
    std::string text = "files";
    for (const int id : answer.listedIds)
        text += " " + std::to_string(id);
    text += ", totalSize " + std::to_string(answer.totalSize);
    text += answer.valuesNull ? ", values null" : ", values " + std::to_string(answer.numItems);
    text += ", firstItemId " + std::to_string(answer.firstItemId);
    text += ", counted " + std::to_string(answer.numItemsCounted);
    return text;
}

// The real file system, counting the opens of one file; at the chosen open of that file another
// file is removed from the card first, as quota eviction removes the oldest file while a reader
// is between its list and its read.
class RemovingFileIo : public LoggerFileIo {
public:
    RemovingFileIo(QString trigger, int atOpen, QString victim)
        : mTrigger(std::move(trigger)), mAtOpen(atOpen), mVictim(std::move(victim))
    {
    }

    bool open(QFile& file, QIODevice::OpenMode mode) override
    {
        if (file.fileName() == mTrigger && ++mOpens == mAtOpen && !mVictim.isEmpty())
            QFile::remove(mVictim);
        return LoggerFileIo::open(file, mode);
    }

    int opens() const { return mOpens; }

private:
    QString mTrigger;
    int mAtOpen;
    QString mVictim;
    int mOpens = 0;
};

class TimeFileListPropertyTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        mSeed = static_cast<unsigned>(environmentNumber("QZLOGGER_FILEWALK_SEED", 20261124));
        mRandom.seed(mSeed);
    }
    void TearDown() override
    {
        setFullTimeFileWalkForTesting(false);
        LoggerFileIo::install(nullptr);
    }

    int below(int bound) { return static_cast<int>(mRandom() % static_cast<unsigned>(bound)); }
    bool chance(int percent) { return below(100) < percent; }

    // A store of random files for one logger, laid down and catalogued in one transaction.
    std::vector<StoreFile> makeStore(int storeIndex, std::shared_ptr<DefnBaseType>& type)
    {
        type = CataloguedFiles::measureType(QStringLiteral("vtq_10min.walk%1").arg(storeIndex),
                                            LoggerDataType::VTQ);
        EXPECT_NE(type, nullptr);
        std::vector<StoreFile> files(static_cast<size_t>(1 + below(30)));
        DataTimespec next{kFirstSecond + storeIndex * 1000000, 0};
        for (StoreFile& file : files) {
            // Between files: the same stamp again, a short gap or a long one.
            const int gap = below(4);
            if (gap == 1)
                next.tv_sec += 1 + below(5);
            else if (gap >= 2)
                next.tv_sec += 100 + below(1000);
            const int count = chance(12) ? 0 : 1 + below(10);
            for (int item = 0; item < count; ++item) {
                file.stamps.push_back(next);
                // Within a file: the same stamp again, or one or two seconds on, at times half way.
                const int step = below(5);
                if (step == 0)
                    continue;
                next.tv_sec += step == 4 ? 2 : 1;
                next.tv_nsec = chance(20) ? 500000000 : 0;
            }
            if (!file.stamps.empty()) {
                file.cataloguedStart = file.stamps.front();
                file.cataloguedEnd = file.stamps.back();
                next = file.stamps.back();
            }
        }
        // The files the writer has left: a start never catalogued, a range wider than the items
        // where out-of-order blocks were taken, a file gone from the card.
        for (size_t index = 0; index + 1 < files.size(); ++index) {
            StoreFile& file = files[index];
            if (chance(12))
                file.cataloguedStart = DataTimespec{0, 0};
            if (chance(8) && !file.stamps.empty()) {
                file.cataloguedStart.tv_sec -= 1 + below(3);
                file.cataloguedEnd.tv_sec += 1 + below(3);
            }
            if (chance(6))
                file.onCard = false;
        }
        // The newest file after a power cut: items beyond the catalogued end, or none catalogued;
        // a torn item; a file begun just before the cut, without items.
        StoreFile& newest = files.back();
        const int cut = below(5);
        if (cut == 1 && newest.stamps.size() > 1) {
            newest.cataloguedEnd =
                newest.stamps[static_cast<size_t>(below(static_cast<int>(newest.stamps.size()) - 1))];
        } else if (cut == 2) {
            newest.cataloguedStart = DataTimespec{0, 0};
            newest.cataloguedEnd = DataTimespec{0, 0};
        } else if (cut == 3) {
            newest.cataloguedEnd = DataTimespec{0, 0};
        }
        if (chance(25))
            newest.tornBytes = 1 + below(kBlock - 1);
        if (chance(15))
            files.emplace_back(); // begun, catalogued with no range, no item yet

        std::vector<PtrLoggerFileInfo> infos;
        int uniqueId = 0;
        for (size_t index = 0; index < files.size(); ++index) {
            StoreFile& file = files[index];
            DataFileBuilder builder(LoggerDataType::VTQ, kBlock);
            const DataTimespec created = file.stamps.empty() ? next : file.stamps.front();
            builder.created(created.tv_sec, created.tv_nsec)
                .guid(0x40000 + static_cast<uint32_t>(storeIndex * 100 + static_cast<int>(index)), 0)
                .baseTypeId(type->Id)
                .uniqueId(uniqueId)
                .items(file.stamps);
            if (file.tornBytes > 0)
                builder.tornItem(file.tornBytes);
            uniqueId += static_cast<int>(file.stamps.size());
            const PtrLoggerFileInfo plain = builder.fileInfo();
            auto info = FileInfoPersistance().createInstance(LoggerType::CYCLIC);
            info->UtcCreated = plain->UtcCreated;
            info->DataType = plain->DataType;
            info->GuidLow = plain->GuidLow;
            info->GuidHigh = plain->GuidHigh;
            info->HeaderSize = plain->HeaderSize;
            info->DataBlockSize = plain->DataBlockSize;
            info->UtcStart = file.cataloguedStart;
            info->UtcEnd = file.cataloguedEnd;
            file.path = LoggerFileSystem::getFullFileName(info.get());
            file.bytes = builder.bytes();
            if (file.onCard) {
                EXPECT_FALSE(builder.write().isEmpty());
            }
            infos.push_back(info);
        }
        EXPECT_TRUE(retriedTransaction("TimeFileListPropertyTest", [&] {
            for (const auto& info : infos) {
                if (!FileInfoPersistance().persist(info))
                    return false;
                type->AppendFileInfo(info);
            }
            return DefnTypePersistance().update(type);
        }));
        return files;
    }

    // A time around the store's stamps: one of them exactly, half a second beside one, or
    // before or after all.
    timespec randomTime(const std::vector<StoreFile>& files)
    {
        std::vector<DataTimespec> stamps;
        // Often about the newest file, where the catalogue lags behind after a power cut.
        const bool newestOnly = chance(25) && !files.back().stamps.empty();
        for (const StoreFile& file : (newestOnly ? std::vector<StoreFile>{files.back()} : files)) {
            stamps.insert(stamps.end(), file.stamps.begin(), file.stamps.end());
            stamps.push_back(file.cataloguedStart);
            stamps.push_back(file.cataloguedEnd);
        }
        timespec time{};
        const DataTimespec stamp = stamps[static_cast<size_t>(below(static_cast<int>(stamps.size())))];
        time.tv_sec = stamp.tv_sec;
        time.tv_nsec = stamp.tv_nsec;
        switch (below(6)) {
        case 0: time.tv_sec -= 1 + below(3); break;
        case 1:
            time.tv_sec += below(2);
            time.tv_nsec = 250000000;
            break;
        case 2: time.tv_sec += 2000 + below(2000); break;
        default: break;
        }
        return time;
    }

    int randomBound()
    {
        static const int bounds[] = {-1, -1, 0, 1, 2, 5, 17};
        return bounds[below(static_cast<int>(sizeof(bounds) / sizeof(bounds[0])))];
    }

    // The answer of every read by time for the range, the type loaded anew for each as a reader
    // loads it.
    Answer answer(int typeId, timespec start, timespec end, int maxItems, bool values)
    {
        Answer result;
        FileListInfo info;
        info.itemSize = kBlock;
        const auto type = mApi.readBaseType(LoggerType::CYCLIC, typeId);
        for (const auto& file : mApi.getTimeFileList(type, start, end, maxItems, info))
            result.listedIds.push_back(file->Id);
        result.totalSize = info.totalSize;
        result.numItemsCounted =
            mApi.getNumItems<Vtq, void*>(LoggerType::CYCLIC, typeId, start, end, maxItems);
        if (values) {
            LoggerHeader header{};
            int firstItemId = -7;
            const auto items = mApi.getValues<Vtq, void*>(LoggerType::CYCLIC, typeId, start, end, maxItems,
                                                          firstItemId, header);
            result.valuesNull = items == nullptr;
            if (items != nullptr) {
                result.numItems = items->mNumItems;
                result.items =
                    QByteArray(reinterpret_cast<const char*>(items->mItems), items->mNumItems * kBlock);
            }
            result.firstItemId = firstItemId;
            result.header = QByteArray(reinterpret_cast<const char*>(&header), sizeof(header));
        }
        return result;
    }

    WriterStore mStore;
    LoggerApiBase mApi;
    unsigned mSeed = 0;
    std::mt19937 mRandom;
};

} // namespace

TEST_F(TimeFileListPropertyTest, EveryReadAnswersAsTheWalkThatOpensEveryFile)
{
    const int stores = environmentNumber("QZLOGGER_FILEWALK_CASES", 30);
    int reads = 0;
    for (int storeIndex = 0; storeIndex < stores; ++storeIndex) {
        std::shared_ptr<DefnBaseType> type;
        const std::vector<StoreFile> files = makeStore(storeIndex, type);
        ASSERT_NE(type, nullptr);
        for (int read = 0; read < kReadsPerStore; ++read) {
            timespec start = randomTime(files);
            timespec end = chance(90) ? randomTime(files) : start;
            if (chance(90) && isEarlierThan(end, start))
                std::swap(start, end);
            const int maxItems = randomBound();
            const bool values = read < kValueReadsPerStore;
            SCOPED_TRACE("seed " + std::to_string(mSeed) + ", store " + std::to_string(storeIndex) + " of " +
                         std::to_string(files.size()) + " files, read " + std::to_string(read) + ": " +
                         std::to_string(start.tv_sec) + "." + std::to_string(start.tv_nsec) + " to " +
                         std::to_string(end.tv_sec) + "." + std::to_string(end.tv_nsec) + ", maxItems " +
                         std::to_string(maxItems));
            setFullTimeFileWalkForTesting(true);
            const Answer full = answer(type->Id, start, end, maxItems, values);
            setFullTimeFileWalkForTesting(false);
            const Answer pruned = answer(type->Id, start, end, maxItems, values);
            EXPECT_TRUE(pruned == full)
                << "full walk: " << describe(full) << "\npruned walk: " << describe(pruned);
            ++reads;
        }
    }
    std::cout << "seed " << mSeed << ": " << reads << " reads on " << stores << " stores" << std::endl;
}

TEST_F(TimeFileListPropertyTest, AFileRemovedBetweenTheListAndTheReadEndsBothWalksAlike)
{
    const int stores = environmentNumber("QZLOGGER_FILEWALK_CASES", 30) / 2;
    int removals = 0;
    for (int storeIndex = 0; storeIndex < stores; ++storeIndex) {
        std::shared_ptr<DefnBaseType> type;
        const std::vector<StoreFile> files = makeStore(storeIndex, type);
        ASSERT_NE(type, nullptr);
        timespec start = randomTime(files);
        timespec end = randomTime(files);
        if (isEarlierThan(end, start))
            std::swap(start, end);
        const int maxItems = randomBound();
        // The files that the read lists: one of them is watched, another (or the same) removed.
        setFullTimeFileWalkForTesting(true);
        const Answer untouched = answer(type->Id, start, end, maxItems, false);
        if (untouched.listedIds.empty())
            continue;
        std::vector<const StoreFile*> listed;
        const auto loaded = mApi.readBaseType(LoggerType::CYCLIC, type->Id);
        for (int index = 0; index < loaded->getFileListSize(); ++index) {
            for (const int id : untouched.listedIds) {
                if (loaded->getFileInfo(index)->Id == id && files[static_cast<size_t>(index)].onCard)
                    listed.push_back(&files[static_cast<size_t>(index)]);
            }
        }
        if (listed.empty())
            continue;
        const StoreFile& trigger = *listed[static_cast<size_t>(below(static_cast<int>(listed.size())))];
        const StoreFile& victim = *listed[static_cast<size_t>(below(static_cast<int>(listed.size())))];
        RemovingFileIo counting(trigger.path, 0, QString());
        LoggerFileIo::install(&counting);
        answer(type->Id, start, end, maxItems, true);
        LoggerFileIo::install(nullptr);
        const int atOpen = 1 + below(std::max(1, counting.opens()));
        SCOPED_TRACE("seed " + std::to_string(mSeed) + ", store " + std::to_string(storeIndex) +
                     ", removed at open " + std::to_string(atOpen) + " of " +
                     std::to_string(counting.opens()));

        Answer answers[2];
        for (const bool full : {true, false}) {
            setFullTimeFileWalkForTesting(full);
            RemovingFileIo removing(trigger.path, atOpen, victim.path);
            LoggerFileIo::install(&removing);
            answers[full ? 0 : 1] = answer(type->Id, start, end, maxItems, true);
            LoggerFileIo::install(nullptr);
            QFile restored(victim.path);
            ASSERT_TRUE(restored.open(QIODevice::WriteOnly));
            ASSERT_EQ(restored.write(victim.bytes), victim.bytes.size());
        }
        EXPECT_TRUE(answers[1] == answers[0])
            << "full walk: " << describe(answers[0]) << "\npruned walk: " << describe(answers[1]);
        ++removals;
    }
    setFullTimeFileWalkForTesting(false);
    std::cout << "seed " << mSeed << ": " << removals << " reads with a file removed" << std::endl;
}
