#pragma once

#include <QObject>

#include <atomic>

// Runs one function on a thread of Qt's global pool and waits for it: a blocking call made on
// a thread of its own.
class LoggerWorkerThread : public QObject {
    Q_OBJECT
public:
    using Function = bool (*)();

    explicit LoggerWorkerThread(Function function);
    ~LoggerWorkerThread() override;
    LoggerWorkerThread(const LoggerWorkerThread&) = delete;
    LoggerWorkerThread& operator=(const LoggerWorkerThread&) = delete;

    // Runs the function on a pool thread and returns when it is done.
    void start();
    // Clears busy and started, and sets the result to true.
    void reset();
    bool isBusy() const;
    bool isStarted() const;
    // The function's last answer; true before it ran.
    bool getResult() const;

    // Runs the function on the calling thread for the worker.
    static void processWorker(LoggerWorkerThread* worker);

signals:
    void threadFinished();

public slots:
    // Runs the function on the thread that delivers the call.
    void processThread();

private:
    void run();

    Function mFunction;
    std::atomic<bool> mBusy{false};
    std::atomic<bool> mStarted{false};
    std::atomic<bool> mResult{true};
};
