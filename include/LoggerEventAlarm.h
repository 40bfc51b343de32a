#pragma once

#include "qzlogger_export.h"

#include "LoggerDataItems.h"
#include "LoggerTemplate.h"
#include "TrackObject.h"

#include <QHash>
#include <QString>

#include <string>
#include <vector>

// An event alarm log: alarms and messages of the instrument as DataEvent items. An item does not
// carry its text; it carries the Id of a DefnEventString row, and this logger keeps the table
// that turns a text into that Id. A host registers its texts with updateEventStrings and then
// logs each event with its text.
//
// A writer may run several such logs side by side; each has its own name (setLoggerName), which
// is the identification of its type row in the catalogue. All of them answer getLoggerName()
// with "LoggerEventAlarm".
//
// Items go through a write cache of 100 items with a quiet period of 10000 ms: a hundredth item
// writes the hundred as one block at once, and fewer items go out when the quiet period passed
// without a new one. The cache timer begins a delay from rest with a wait that it does not count,
// so a lone item reaches the card 10 to 20 s after logEventItem returned; flush() writes what
// waits at once.
//
// A false answer of initialize, updateEventStrings or logEventItem keeps a last error
// (LoggerDb::getLastError) that names the log, unless a deeper layer kept a text of its own.
//
// Threads: updateEventStrings and logEventItem run on one thread, the host's; the table of texts
// has no lock of its own. The quiet-period flush runs on the cache timer's thread; it meets
// updateEventStrings on the logger's save mutex, as every write of the logger does.
class QZLOGGER_EXPORT LoggerEventAlarm : public TrackObject, public LoggerTemplate<DataEvent> {
public:
    static constexpr int kCacheCapacity = 100;  // items, 2400 bytes of DataEvent
    static constexpr int kCacheTimeout = 10000; // milliseconds of quiet before a flush
    static constexpr int kEventBlockSize = 24;  // utc, event data, string id, string index

    LoggerEventAlarm();
    LoggerEventAlarm(const LoggerEventAlarm&) = delete;
    LoggerEventAlarm& operator=(const LoggerEventAlarm&) = delete;
    ~LoggerEventAlarm() override;

    // "LoggerEventAlarm", whatever the name set.
    QString getLoggerName() override;
    // The name set by setLoggerName; empty before, which keeps the logger disabled.
    QString getConfiguratedMeasuredTypeId() override;

    // The name of this log and the identification of its type row; set it before initialize.
    void setLoggerName(std::string name);
    // A block that finds its file larger than this begins a new file.
    void setMaximumFileSize(int bytes);
    // Ends the thread of the cache timer; not to be called from that thread. What waits in the
    // cache then goes out only with flush().
    void closeTimer();

    // Initializes the logger (initializeLogger) and gives its answer; where that found or made a
    // type row, the row's in-memory identification becomes the name. A current type that is not
    // an event type is logged as a fatal error and changes nothing of the answer.
    bool initialize();
    // Adds each text that the type's list does not hold yet, stores the type in one transaction
    // (new texts get their rows and Ids there), and builds the table anew from the type's whole
    // list: texts registered earlier, also by an earlier run, keep their Ids. An empty list
    // stores the type and rebuilds the table all the same. False while the database is down,
    // before initialize found a type, or where the transaction failed: the type's list and the
    // table then stay as they were, and the texts may be registered again.
    bool updateEventStrings(std::vector<std::string> texts);
    // Sets the item's stringId to the Id of the text and writes it through the cache. A text that
    // is not registered is no reason to refuse the event: the item is written with stringId 0,
    // which no row has, and the text stands in the table with 0 until the next
    // updateEventStrings. False where writeLoggerItem refused the item.
    bool logEventItem(DataEvent item, QString text);

    // The table as it stands: each text and the Id of its row, or 0 for a text logged without
    // being registered.
    const QHash<QString, int>& getEventStringIds() const;

private:
    std::string mLoggerName;           // name and identification of the log; empty at start
    QHash<QString, int> mEventStrings; // text to DefnEventString Id; same thread as logEventItem
};
