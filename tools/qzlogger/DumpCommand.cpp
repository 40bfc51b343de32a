// qzlogger dump ID: the items of one logger as CSV, as JSON lines or as the records themselves.

#include "Commands.h"
#include "ItemStream.h"
#include "Loggers.h"
#include "Options.h"
#include "RecordFields.h"
#include "Store.h"

#include <qzlogger.h>

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace qzcli {

namespace {

enum class Format { Csv, Json, Raw };

// The output: the standard output stream or a file the tool makes. A file that could not be
// written to its end is removed again, so that no half of a dump stands for the whole.
class Output {
public:
    bool open(const QString& path)
    {
        mPath = path;
        if (path.isEmpty() || path == QLatin1String("-")) {
            mStream = stdout;
            return true;
        }
        mStream = std::fopen(QFile::encodeName(path).constData(), "wb");
        mIsFile = mStream != nullptr;
        mError = mStream == nullptr ? QString::fromLocal8Bit(std::strerror(errno)) : QString();
        return mStream != nullptr;
    }
    ~Output()
    {
        if (mStream != nullptr && mStream != stdout)
            std::fclose(mStream);
    }
    bool write(const char* data, qint64 size)
    {
        if (size > 0 &&
            std::fwrite(data, 1, static_cast<size_t>(size), mStream) != static_cast<size_t>(size)) {
            mError = QString::fromLocal8Bit(std::strerror(errno));
            return false;
        }
        return true;
    }
    bool write(const QByteArray& bytes) { return write(bytes.constData(), bytes.size()); }
    // Flushes and closes; false where a byte did not reach the output.
    bool finish()
    {
        const bool flushed = std::fflush(mStream) == 0;
        if (!flushed)
            mError = QString::fromLocal8Bit(std::strerror(errno));
        if (mStream != stdout) {
            const bool closed = std::fclose(mStream) == 0;
            mStream = nullptr;
            return flushed && closed;
        }
        return flushed;
    }
    void discard()
    {
        if (mStream != nullptr && mStream != stdout)
            std::fclose(mStream);
        mStream = nullptr;
        if (mIsFile)
            QFile::remove(mPath);
    }
    QString name() const { return mIsFile ? mPath : QStringLiteral("the standard output"); }
    QString error() const { return mError; }

private:
    QString mPath;
    FILE* mStream = nullptr;
    bool mIsFile = false;
    QString mError;
};

// The columns the tool adds to a record: the text of an event, the class of a PQ event.
QStringList addedColumns(LoggerDataType dataType)
{
    if (dataType == LoggerDataType::EVENT)
        return {QStringLiteral("text")};
    if (dataType == LoggerDataType::PQEVENT)
        return {QStringLiteral("durationClass"), QStringLiteral("depthClass")};
    return {};
}

// Formats one chunk of items, with the texts of events and the classes of PQ events as the read
// API gives them: event texts from the log's text list, PQ events with their recording ranges
// repaired where they are missing or inverted.
class ChunkFormatter {
public:
    ChunkFormatter(LoggerApi& api, std::shared_ptr<DefnBaseType> type, RecordLayout layout, Format format)
        : mApi(api), mType(std::move(type)), mLayout(std::move(layout)), mFormat(format),
          mNames(columnNames(mLayout) + addedColumns(mLayout.dataType))
    {
        for (const QString& name : addedColumns(mLayout.dataType))
            mAddedKeys << ",\"" + name.toLatin1() + "\":";
    }

    QByteArray header() const
    {
        return mFormat == Format::Csv ? mNames.join(QLatin1Char(',')).toUtf8() + '\n' : QByteArray();
    }

    void format(const char* items, int count, QByteArray& out)
    {
        if (mLayout.dataType == LoggerDataType::EVENT)
            formatEvents(items, count, out);
        else if (mLayout.dataType == LoggerDataType::PQEVENT)
            formatPqEvents(items, count, out);
        else
            for (int index = 0; index < count; ++index)
                formatItem(items + static_cast<qint64>(index) * mLayout.itemSize, {}, out);
    }

private:
    void formatItem(const char* item, const QList<QByteArray>& added, QByteArray& out)
    {
        if (mFormat == Format::Csv) {
            appendCsv(mLayout, item, out);
            for (const QByteArray& value : added) {
                out.append(',');
                appendCsvText(value, out);
            }
        } else {
            out.append('{');
            appendJson(mLayout, item, out);
            for (int index = 0; index < added.size(); ++index) {
                out.append(mAddedKeys.at(index));
                if (mLayout.dataType == LoggerDataType::EVENT)
                    appendJsonString(added.at(index), out);
                else
                    out.append(added.at(index).isEmpty() ? QByteArray("null") : added.at(index));
            }
            out.append('}');
        }
        out.append('\n');
    }

    void formatEvents(const char* items, int count, QByteArray& out)
    {
        const PtrLoggerResultEvent result = LoggerResult<DataEvent, std::string>::create(count);
        std::memcpy(static_cast<void*>(result->mItems), items,
                    static_cast<size_t>(count) * sizeof(DataEvent));
        mApi.getEventStringIDs(mType, result);
        for (int index = 0; index < count; ++index) {
            const int position = result->mItems[index].stringIndex;
            const QByteArray text =
                position >= 0 && static_cast<size_t>(position) < result->mInfo.size()
                    ? QByteArray::fromStdString(result->mInfo[static_cast<size_t>(position)])
                    : QByteArray();
            formatItem(reinterpret_cast<const char*>(&result->mItems[index]), {text}, out);
        }
    }

    void formatPqEvents(const char* items, int count, QByteArray& out)
    {
        const PtrLoggerResultPqEvent result = LoggerResult<DataPqEvent>::create(count);
        std::memcpy(static_cast<void*>(result->mItems), items,
                    static_cast<size_t>(count) * sizeof(DataPqEvent));
        mApi.checkPqEvents(result);
        for (int index = 0; index < count; ++index) {
            int duration = -1;
            int depth = -1;
            QList<QByteArray> classes{QByteArray(), QByteArray()};
            if (LoggerApi::classifyPqEvent(result->mItems[index], duration, depth))
                classes = {QByteArray::number(duration), QByteArray::number(depth)};
            formatItem(reinterpret_cast<const char*>(&result->mItems[index]), classes, out);
        }
    }

    LoggerApi& mApi;
    std::shared_ptr<DefnBaseType> mType;
    RecordLayout mLayout;
    Format mFormat;
    QStringList mNames;
    QList<QByteArray> mAddedKeys; // ,"name": of each added column, for JSON
};

} // namespace

int runDump(const Invocation& invocation)
{
    Options options;
    if (!parseOptions(invocation,
                      {QStringLiteral("from"), QStringLiteral("to"), QStringLiteral("last"),
                       QStringLiteral("format"), QStringLiteral("out")},
                      options))
        return kExitUsage;
    if (options.operands.size() != 1) {
        complain(
            invocation,
            QStringLiteral("wants one identification: %1 (qzlogger ls lists them)").arg(usageOf(invocation)));
        return kExitUsage;
    }
    const QString formatWord = options.values.value(QStringLiteral("format"), QStringLiteral("csv"));
    Format format = Format::Csv;
    if (formatWord == QLatin1String("json")) {
        format = Format::Json;
    } else if (formatWord == QLatin1String("raw")) {
        format = Format::Raw;
    } else if (formatWord != QLatin1String("csv")) {
        complain(invocation, QStringLiteral("unknown format %1: give csv, json or raw").arg(formatWord));
        return kExitUsage;
    }
    timespec start{};
    timespec end{};
    if (!parseRange(invocation, options, false, start, end))
        return kExitUsage;
    long long last = -1;
    if (options.values.contains(QStringLiteral("last")) &&
        !parseCount(invocation, QStringLiteral("last"), options.values.value(QStringLiteral("last")), last))
        return kExitUsage;

    const QString word = options.operands.first();
    OpenedStore store(invocation);
    if (!store.isOpen())
        return kExitUsage;
    const std::unique_ptr<FoundLogger> logger = loggerOfWord(invocation, store, word);
    if (!logger)
        return kExitUsage;
    const LoggerDataType dataType = logger->baseType->mDataType;
    ItemStream stream(*logger->baseType, start, end);
    if (!stream.search()) {
        complain(invocation, QStringLiteral("the files of %1 cannot be read: %2").arg(word, stream.error()));
        return kExitUsage;
    }
    if (last > 0)
        stream.keepLast(last);
    const int itemSize =
        stream.itemSize() > 0 ? stream.itemSize() : LoggerFileSystem::getDataItemSize(dataType);
    const RecordLayout layout = recordLayout(dataType, itemSize);
    if (format != Format::Raw && layout.fields.empty()) {
        complain(invocation,
                 QStringLiteral("%1 holds %2 items of %3 bytes, whose fields the tool does not know: "
                                "dump them with --format raw")
                     .arg(word, LoggerDebug::getLoggerDataTypeString(dataType))
                     .arg(itemSize));
        return kExitUsage;
    }
    auto* api = dynamic_cast<LoggerApi*>(&store.api());
    if (api == nullptr) {
        complain(invocation, QStringLiteral("the store's read API is not the library's own"));
        return kExitUsage;
    }

    Output output;
    if (!output.open(options.values.value(QStringLiteral("out")))) {
        complain(invocation,
                 QStringLiteral("cannot write %1: %2: give a file in a folder that can be written")
                     .arg(options.values.value(QStringLiteral("out")), output.error()));
        return kExitUsage;
    }
    ChunkFormatter formatter(*api, logger->baseType, layout, format);
    Progress progress;
    long long done = 0;
    bool written = output.write(formatter.header());
    QByteArray text;
    const bool read = written && stream.run([&](const char* items, int count) {
        if (format == Format::Raw) {
            written = output.write(items, static_cast<qint64>(count) * itemSize);
        } else {
            text.clear();
            formatter.format(items, count, text);
            written = output.write(text);
        }
        done += count;
        progress.show(QStringLiteral("qzlogger %1: %2 of %3 %4 (%5 %)")
                          .arg(invocation.command)
                          .arg(done)
                          .arg(stream.itemCount())
                          .arg(QStringLiteral("items"))
                          .arg(stream.itemCount() > 0 ? 100 * done / stream.itemCount() : 100));
        return written;
    });
    if (!written || !output.finish()) {
        complain(invocation, QStringLiteral("the dump to %1 failed: %2: give a file on a disk with room")
                                 .arg(output.name(), output.error()));
        output.discard();
        return kExitUsage;
    }
    if (!read) {
        output.discard();
        complain(invocation,
                 QStringLiteral("the files of %1 cannot be read to the end: %2").arg(word, stream.error()));
        return kExitUsage;
    }
    return kExitOk;
}

} // namespace qzcli
