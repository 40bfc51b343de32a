#include "MeanItemFiles.h"

#include "LoggerBase.h"
#include "LoggerHeader.h"

#include <QFile>
#include <QtGlobal>

#include <algorithm>
#include <cstring>

FileContent readDataFile(const QString& name)
{
    constexpr int kItemSize = static_cast<int>(sizeof(DataMean));
    FileContent content;
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return content;
    const QByteArray bytes = file.readAll();
    if (bytes.size() < kLoggerHeaderSize)
        return content;
    content.readable = true;
    const int whole = (bytes.size() - kLoggerHeaderSize) / kItemSize;
    content.items.resize(static_cast<size_t>(whole));
    if (whole > 0)
        std::memcpy(static_cast<void*>(content.items.data()), bytes.constData() + kLoggerHeaderSize,
                    static_cast<size_t>(whole) * kItemSize);
    content.tornBytes = (bytes.size() - kLoggerHeaderSize) % kItemSize;
    return content;
}

int intVariable(const char* name, int fallback)
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(name, &ok);
    return ok ? value : fallback;
}

QByteArray field(const QByteArray& line, const QByteArray& key)
{
    for (const QByteArray& word : line.split(' ')) {
        if (word.startsWith(key + '='))
            return word.mid(key.size() + 1);
    }
    return QByteArray();
}

std::string numberRuns(const std::vector<int64_t>& numbers)
{
    std::string runs;
    for (size_t index = 0; index < numbers.size();) {
        size_t end = index;
        while (end + 1 < numbers.size() && numbers[end + 1] == numbers[end] + 1)
            ++end;
        if (!runs.empty())
            runs += ',';
        runs += std::to_string(numbers[index]) + '-' + std::to_string(numbers[end]);
        index = end + 1;
    }
    return runs;
}

DataMean numberedMeanItem(int32_t firstSecond, int64_t number, float shift)
{
    DataMean item{};
    item.utc = DataTimespec{static_cast<int32_t>(firstSecond + number / 1000),
                            static_cast<int32_t>((number % 1000) * 1000000)};
    item.quality = static_cast<uint32_t>(number);
    item.mean = static_cast<float>(number) + shift;
    return item;
}

PtrLoggerFileInfo writeNumberedMeans(LoggerBase& logger, int32_t firstSecond, int64_t first, int count,
                                     float shift)
{
    std::vector<DataMean> block;
    block.reserve(static_cast<size_t>(std::max(count, 0)));
    for (int index = 0; index < count; ++index)
        block.push_back(numberedMeanItem(firstSecond, first + index, shift));
    return logger.writeDatas(reinterpret_cast<const char*>(block.data()), count, true, true);
}
