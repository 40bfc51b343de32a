#include "LoggerWorkerThread.h"

#include "LoggerDb.h"

#include <QSemaphore>
#include <QThreadPool>

LoggerWorkerThread::LoggerWorkerThread(Function function) : mFunction(function)
{
}

LoggerWorkerThread::~LoggerWorkerThread()
{
    LoggerDb::getInstance().loggerMessage("LoggerWorkerThread Destructor finished", LOGGER_MESSAGE_INFO);
}

void LoggerWorkerThread::start()
{
    mBusy = true;
    QSemaphore done;
    QThreadPool::globalInstance()->start([this, &done] {
        processWorker(this);
        done.release();
    });
    done.acquire();
}

void LoggerWorkerThread::reset()
{
    mBusy = false;
    mStarted = false;
    mResult = true;
}

bool LoggerWorkerThread::isBusy() const
{
    return mBusy;
}

bool LoggerWorkerThread::isStarted() const
{
    return mStarted;
}

bool LoggerWorkerThread::getResult() const
{
    return mResult;
}

void LoggerWorkerThread::processWorker(LoggerWorkerThread* worker)
{
    if (worker != nullptr)
        worker->run();
}

void LoggerWorkerThread::processThread()
{
    LoggerDb::getInstance().loggerMessage("LoggerWorkerThread process...", LOGGER_MESSAGE_INFO);
    run();
    emit threadFinished();
}

void LoggerWorkerThread::run()
{
    mBusy = true;
    mStarted = true;
    const bool result = mFunction != nullptr ? mFunction() : false;
    mBusy = false;
    mResult = result;
    LoggerDb::getInstance().loggerMessage("LoggerWorkerThread process finished", LOGGER_MESSAGE_INFO);
}
