#include "LoggerRetriedTransaction.h"

#include "Database.h"
#include "DatabaseExceptions.h"
#include "LoggerDb.h"
#include "LoggerHooks.h"
#include "Transaction.h"

#include <QMutexLocker>
#include <QThread>

#include <memory>
#include <utility>

namespace {

// Tries of one frame. The wait after a busy try is the number of tries still left, in
// milliseconds: 501 ms after the first, down to 1 ms after the last, 125751 ms in all. The
// falling order is deliberate: a writer that just took the lock usually holds it briefly, so
// the first waits give it the most room.
constexpr int kRetryCount = 501;

void retrySleep(unsigned long milliseconds)
{
    const auto& sleep = LoggerHooks::retrySleep();
    if (sleep)
        sleep(milliseconds);
    else
        QThread::msleep(milliseconds);
}

void frameMessage(const std::string& text, LoggerMessageType type)
{
    const auto& observer = LoggerHooks::retryMessage();
    if (observer)
        observer(text, type);
    LoggerDb::getInstance().loggerMessage(text, type);
}

// Leaves the last retry text at info level on every way out of the frame, an exception that
// passes through included, while the database mutex is still held.
class LastRetryText {
public:
    LastRetryText() = default;
    ~LastRetryText()
    {
        if (!mText.empty())
            frameMessage(mText, LOGGER_MESSAGE_INFO);
    }
    LastRetryText(const LastRetryText&) = delete;
    LastRetryText& operator=(const LastRetryText&) = delete;

    std::string& text() { return mText; }

private:
    std::string mText;
};

} // namespace

bool retriedTransaction(const std::string& description, const std::function<bool()>& body)
{
    bool success = false;
    bool bodyResult = false;
    LoggerDb& loggerDb = LoggerDb::getInstance();

    // Held for the whole frame, waits included: the catalogue work of the process is serial.
    QMutexLocker locker(loggerDb.getDbMutex());
    LastRetryText retryText;
    // Whatever the outcome, the catalogue file may have changed its size.
    struct SizeChanged {
        LoggerDb& db;
        ~SizeChanged() { db.catalogueChanged(); }
    } sizeChanged{loggerDb};

    const std::shared_ptr<qzdb::Database> database = loggerDb.getDb();
    if (database == nullptr) {
        frameMessage("Logger Interface == nullptr", LOGGER_MESSAGE_FATAL);
        return false;
    }

    int counter = kRetryCount;
    while (counter > 0) {
        try {
            loggerDb.getPerformanceCounter().startTimer();
            qzdb::Transaction transaction(*database);
            bodyResult = body();
            transaction.commit();
            loggerDb.getPerformanceCounter().stopTimer();
            success = true;
            break;
        } catch (const qzdb::Recoverable& e) {
            // The transaction is gone; the whole body runs again on a fresh one.
            retryText.text() =
                description + " Logger Retry: " + std::to_string(kRetryCount - counter) + ": " + e.what();
            frameMessage(retryText.text(), LOGGER_MESSAGE_ROUTINE);
            retrySleep(static_cast<unsigned long>(counter));
            --counter;
        } catch (const qzdb::ObjectNotPersistent& e) {
            loggerDb.handleOdbException(e, description + " object not persistent");
            break;
        } catch (const qzdb::ObjectAlreadyPersistent& e) {
            loggerDb.handleOdbException(e, description + " object already persistent");
            break;
        } catch (const qzdb::ObjectChanged& e) {
            loggerDb.handleOdbException(e, description + " object changed");
            break;
        } catch (const qzdb::ResultNotCached& e) {
            loggerDb.handleOdbException(e, description + " object not cached");
            break;
        } catch (const qzdb::AbstractClass& e) {
            loggerDb.handleOdbException(e, description + " abstract class");
            break;
        } catch (const qzdb::NoTypeInfo& e) {
            loggerDb.handleOdbException(e, description + " no type info");
            break;
        } catch (const qzdb::PreparedAlreadyCached& e) {
            loggerDb.handleOdbException(e, description + " prepared already cached");
            break;
        } catch (const qzdb::PreparedTypeMismatch& e) {
            loggerDb.handleOdbException(e, description + " prepared type mismatch");
            break;
        } catch (const qzdb::UnknownSchema& e) {
            loggerDb.handleOdbException(e, description + " unknown schema");
            break;
        } catch (const qzdb::UnknownSchemaVersion& e) {
            loggerDb.handleOdbException(e, description + " unknown schema version");
            break;
        } catch (const qzdb::SectionNotLoaded& e) {
            loggerDb.handleOdbException(e, description + " section not loaded");
            break;
        } catch (const qzdb::SectionNotInObject& e) {
            loggerDb.handleOdbException(e, description + " section not in object");
            break;
        } catch (const qzdb::MultipleExceptions& e) {
            loggerDb.handleOdbException(e, description + " multiple exceptions");
            break;
        } catch (const qzdb::Exception& e) {
            loggerDb.handleOdbException(e, description + " Logger Exception");
            break;
        }
    }
    return success && bodyResult;
}
