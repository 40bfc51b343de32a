#pragma once

#include "qzlogger_export.h"

#include "TrackObject.h"

#include <QList>
#include <QMutex>

#include <atomic>
#include <ctime>

class LoggerBase;

// The process-wide registry of the writer's loggers, in the order they were constructed, and the
// one place where they are initialized, started, stopped, reopened and deleted as a group. The
// catalogue is opened and closed from here as well, since the card's state decides whether
// loggers may run at all. The loggers are not owned: each one enters during its own construction
// and leaves in its destructor.
//
// Progress of the group is posted through LoggerDb::setLoggerState: starting (1024) to started
// (8), stopping (2048) to stopped (16), resetting (4096) to resetted (8192). Log lines go to the
// category "Logger.List".
//
// Threads. Every group operation holds mMutex, which is not recursive, from start to end: none of
// them may be called from inside another or from a logger's code that runs under one. Card
// events run stopLoggers, startLoggers, openDatabase and closeDatabase on the card client's own
// thread, while the writer's thread may write and cache timers may fire; a logger therefore
// meets a closed file at any time and answers false for what it cannot write. addLogger,
// removeLogger and timerTick take no lock.
class QZLOGGER_EXPORT LoggerList : public TrackObject {
public:
    static LoggerList* getInstance();

    LoggerList(const LoggerList&) = delete;
    LoggerList& operator=(const LoggerList&) = delete;

    // The group operations of the instance, for callers that do not hold it.
    static bool openDatabase();
    static bool closeDatabase();
    static bool initializeLoggers();
    static bool startLoggers();
    static bool stopLoggers();

    // Opens the catalogue where it is not open, but only with the card mounted. False without a
    // card client ("sdCard==nullptr") and with the card not mounted (a warning); the loggers are
    // left alone.
    bool instanceOpenDatabase();
    // Closes an open catalogue; whether it was open.
    bool instanceCloseDatabase();
    // Opens the catalogue where needed, initializes every logger in order and posts "loggers
    // started" (8) and the outcome of initializing. True where every logger's initializeLogger
    // answered true, which LoggerBase's always does: a logger that failed shows in its state, in
    // getFailedLoggers and in the outcome posted, not in the answer. A reader process is refused
    // as in reOpenFiles.
    bool instanceInitializeLoggers();
    // Starts the operator log, then every logger in order, and posts starting (1024) then
    // started (8). False in a reader process (refused as in reOpenFiles), without a card client
    // or a mounted card (nothing is started), where a
    // logger did not start (the others start all the same), and where the card went away during
    // the run: the run then ends at once, the group does not count as started, the state stays
    // starting, and the loggers already started stay so. A second call logs "loggers already
    // started" and runs the whole start again.
    bool instanceStartLoggers();
    // Stops every logger in order and closes the catalogue, posting stopping (2048) then stopped
    // (16). The wish to start again (shouldStartLoggers) stays as it was. Always true.
    bool instanceStopLoggers();

    // No lock is taken: a logger registers during its own construction.
    void addLogger(LoggerBase* logger);
    // Removes every occurrence.
    void removeLogger(LoggerBase* logger);
    // The number of registered loggers.
    static int size();
    int getNumLoggers() const;
    bool contains(const LoggerBase* logger) const;
    // Loggers whose state is "logger failed" (4).
    int getFailedLoggers() const;
    // Whether the last group start ran to its end and no stop came since.
    bool loggersStarted() const;
    // The writer's remembered wish to run the loggers, false at start: after the card returns,
    // the loggers start again only where it is true. Memory only, not kept across restarts.
    static bool shouldStartLoggers();
    void setShouldStartLoggers(bool start);

    // The writer's clock tick to every logger, without the lock: the tick must not wait for a
    // group operation.
    void timerTick(timespec time);
    // Flushes and closes every logger's file, then closes the catalogue.
    void closeFiles();
    // Opens the catalogue where needed and every logger's file again; with announce, posts
    // "loggers stopped" (16) on the way. Afterwards posts "logger initialized" (5), or "logger
    // failed" (4) where a logger did not reopen or is failed. A reader process is refused
    // (false, nothing opened): only the writer opens the data files.
    bool reOpenFiles(bool announce);
    // Deletes every logger's types from the catalogue, closes it, removes every file below the
    // data folder and, with reinitialize, opens a new empty catalogue; posts resetting (4096)
    // then resetted (8192). The loggers stay registered, and stay marked started: initialize
    // them anew (initializeLoggers) before they write again. True where every logger's types were
    // deleted; false without a catalogue (the files go all the same) and in a reader process,
    // which is refused as in reOpenFiles and removes nothing.
    bool deleteAllLoggers(bool reinitialize);

private:
    LoggerList();
    ~LoggerList() override;

    // In a reader process: logs that only the writer opens the data files, keeps the last error
    // of LoggerDb::refuseNonWriter for what, and answers true.
    bool refuseReader(const char* what);
    // Only with a card client whose card is mounted; logs why not otherwise.
    bool isCardMountedForStart();
    // Opens the catalogue where it is not open yet.
    void initializeDatabaseIfClosed();

    QMutex mMutex;               // guards every group operation; not recursive
    QList<LoggerBase*> mLoggers; // registration order; not owned
    // Read without mMutex by the card's thread, while a group operation may hold it.
    std::atomic<bool> mShouldStartLoggers{false}; // the writer's wish
    std::atomic<bool> mLoggersStarted{false};     // the group start ran to its end
};
