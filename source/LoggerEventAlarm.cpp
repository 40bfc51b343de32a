#include "LoggerEventAlarm.h"

#include "DefnEventString.h"
#include "DefnEventType.h"
#include "DefnTypePersistance.h"
#include "LoggerAccess.h"
#include "LoggerDb.h"
#include "LoggerErrorText.h"
#include "LoggerRetriedTransaction.h"

#include <QMutexLocker>

#include <memory>
#include <utility>

namespace {

void message(const char* text, LoggerMessageType type)
{
    LoggerDb::getInstance().loggerMessage(text, type);
}

} // namespace

LoggerEventAlarm::LoggerEventAlarm()
    : LoggerTemplate<DataEvent>(LoggerType::EVENT, LoggerDataType::EVENT, kEventBlockSize)
{
    initTrack(kCategoryEventAlarm);
    setCacheCapacity(kCacheCapacity);
    setCacheTimeout(kCacheTimeout);
}

LoggerEventAlarm::~LoggerEventAlarm() = default;

QString LoggerEventAlarm::getLoggerName()
{
    return QStringLiteral("LoggerEventAlarm");
}

QString LoggerEventAlarm::getConfiguratedMeasuredTypeId()
{
    return QString::fromStdString(mLoggerName);
}

void LoggerEventAlarm::setLoggerName(std::string name)
{
    mLoggerName = std::move(name);
}

void LoggerEventAlarm::setMaximumFileSize(int bytes)
{
    LoggerBase::setMaximumFileSize(bytes);
}

void LoggerEventAlarm::closeTimer()
{
    mCache.closeTimer();
}

bool LoggerEventAlarm::initialize()
{
    const bool result = withErrorText(
        [this] { return initializeLogger(); },
        [this] {
            if (mLoggerName.empty())
                return QStringLiteral(
                    "the event log has no name and stays disabled: call setLoggerName before "
                    "initialize");
            return QStringLiteral(
                       "the event log '%1' did not initialize: initialize the store first (catalogue %2)")
                .arg(QString::fromStdString(mLoggerName), LoggerDb::getInstance().getFullDbName());
        });
    const std::shared_ptr<DefnBaseType> type = mAccess->getCurrentBaseType();
    if (!type) {
        return result;
    }
    const std::shared_ptr<DefnEventType> eventType = DefnTypePersistance().getEventType(type);
    if (!eventType) {
        message("eventType == nullptr", LOGGER_MESSAGE_FATAL);
    } else {
        eventType->ConfigId = QString::fromStdString(mLoggerName);
    }
    return result;
}

bool LoggerEventAlarm::updateEventStrings(std::vector<std::string> texts)
{
    // The write engine stores this same type from the cache timer's thread: the list is only
    // changed under the save mutex, which every write holds.
    QMutexLocker locker(mAccess->getSaveAccess());
    const std::shared_ptr<DefnBaseType> type = mAccess->getCurrentBaseType();
    if (!isDatabaseInitialized() || !type) {
        message("Database is not initialized or mCurrentBaseType == nullptr", LOGGER_MESSAGE_ROUTINE);
        LoggerDb::getInstance().setError(
            QStringLiteral("the texts of the event log '%1' were not registered: %2")
                .arg(QString::fromStdString(mLoggerName),
                     isDatabaseInitialized() ? QStringLiteral("the log has no type yet; initialize it first")
                                             : QStringLiteral("the store is not initialized; initialize it "
                                                              "and the log first")));
        return false;
    }
    DefnTypePersistance persistance;
    const std::shared_ptr<DefnEventType> eventInfo = persistance.getEventType(type);
    if (!eventInfo) {
        message("eventInfo == nullptr", LOGGER_MESSAGE_ROUTINE);
        LoggerDb::getInstance().setError(
            QStringLiteral("the type of the event log '%1' is no event type: give "
                           "the log a name that no other logger uses")
                .arg(QString::fromStdString(mLoggerName)));
        return false;
    }

    auto& strings = eventInfo->EventStrings;
    const size_t sizeBefore = strings.size();
    for (const std::string& text : texts) {
        eventInfo->addEventString(text);
    }
    // A text without a row gets its Id from the insert, before the commit. A try that SQLite
    // turns back would leave it with the Id of a row that is gone, and the next try, or the
    // next store of the type by the write engine, would update that missing row instead of
    // making one. So every try, and a failed frame, starts these texts again at 0.
    std::vector<std::shared_ptr<DefnEventString>> withoutRow;
    for (const auto& eventString : strings) {
        if (eventString && eventString->Id == 0) {
            withoutRow.push_back(eventString);
        }
    }
    const auto forgetIds = [&withoutRow] {
        for (const auto& eventString : withoutRow) {
            eventString->Id = 0;
        }
    };
    const bool stored = retriedTransaction("EventAlarm", [&] {
        forgetIds();
        return persistance.update(type);
    });
    if (!stored) {
        // The texts of this call leave the list again: a later store of the type must not
        // make rows for texts whose registration was answered with false.
        forgetIds();
        strings.resize(sizeBefore);
        message("cannot update Event strings", LOGGER_MESSAGE_FATAL);
        // The transaction's own failure text, where it kept one, is the more precise one.
        LoggerDb& db = LoggerDb::getInstance();
        if (db.getLastError().isEmpty())
            db.setError(QStringLiteral("the texts of the event log '%1' were not stored in the catalogue %2: "
                                       "register them again")
                            .arg(QString::fromStdString(mLoggerName), db.getFullDbName()));
        return false;
    }

    mEventStrings.clear();
    for (const auto& eventString : strings) {
        if (eventString) {
            // Two entries whose bytes read as one text (invalid UTF-8 among them): the last
            // entry's Id stands.
            mEventStrings.insert(QString::fromStdString(eventString->Description), eventString->Id);
        }
    }
    return true;
}

bool LoggerEventAlarm::logEventItem(DataEvent item, QString text)
{
    // operator[] enters an unknown text with 0: the event is written all the same, without a
    // text, and the entry goes with the next updateEventStrings.
    const int id = mEventStrings[text];
    item.stringId = id;
    debugMessage(QStringLiteral("Event String ") + text + QStringLiteral(" Id: ") + QString::number(id));
    const bool written = withErrorText(
        [this, &item] { return writeLoggerItem(&item); },
        [this, &text] {
            return QStringLiteral(
                       "the event '%1' was not written to the event log '%2': initialize and start the "
                       "log first")
                .arg(text, QString::fromStdString(mLoggerName));
        });
    if (!written) {
        message("Event not written", LOGGER_MESSAGE_ROUTINE);
        return false;
    }
    return true;
}

const QHash<QString, int>& LoggerEventAlarm::getEventStringIds() const
{
    return mEventStrings;
}
