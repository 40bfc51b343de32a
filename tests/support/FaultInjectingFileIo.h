#pragma once

#include "LoggerFileIo.h"

#include <QByteArray>
#include <QHash>
#include <QMutex>
#include <QString>

#include <array>
#include <vector>

// The real file system with one chosen operation made to fail, the way a full card, a file-size
// limit or a bad sector fails it: the nth write (or open, read, truncation, sync) of the process,
// counted from the arming, gets the fault. It also keeps the writes it saw, as the attempts
// that the store made: one attempt is a positioned write and the continuations that a short
// write asks for, and it reached the file whole or not.
//
// Install it with ScopedFileIo for the span of a test. Thread-safe: cache timers write from
// their own threads.
class FaultInjectingFileIo : public LoggerFileIo {
public:
    enum class Operation { Open, Read, Write, Truncate, Sync };
    enum class Fault {
        NoSpace,      // ENOSPC: the card is full
        FileTooLarge, // EFBIG: the file system's size limit
        IoError,      // EIO: a bad sector
        ShortWrite,   // half of the bytes go out, then the card is full
    };

    struct WriteAttempt {
        QString path;
        qint64 position = 0;
        QByteArray bytes; // what the store asked to write
        bool whole = false;
    };

    // The nth operation of that kind from now on (1 for the next) fails with the fault; the
    // counts start again at 0 and earlier faults are disarmed. n of 0 arms nothing.
    void failNth(Operation operation, int n, Fault fault);
    // One more fault beside those armed, counted from the same start.
    void alsoFailNth(Operation operation, int n, Fault fault);
    void disarm();
    // Whether an armed fault has struck.
    bool fired() const;
    // Operations of that kind since the last arming (or since construction).
    int count(Operation operation) const;
    std::vector<WriteAttempt> attempts() const;
    void clearAttempts();

    bool open(QFile& file, QIODevice::OpenMode mode) override;
    int openDescriptor(const QByteArray& path, int flags) override;
    ssize_t pread(int descriptor, void* buffer, size_t length, off_t position) override;
    ssize_t pwrite(int descriptor, const void* data, size_t length, off_t position) override;
    int truncate(int descriptor, off_t length) override;
    int sync(int descriptor) override;

    static int errnoOf(Fault fault);
    static const char* nameOf(Fault fault);

private:
    struct ArmedFault {
        Operation operation;
        int at;
        Fault fault;
    };

    // True where this operation is one to fail, with its fault in mFault; counts it either way.
    // Holds mMutex.
    bool strikes(Operation operation);

    mutable QMutex mMutex;
    std::array<int, 5> mCounts{};
    std::vector<ArmedFault> mArmed;
    Fault mFault = Fault::NoSpace;
    bool mFired = false;
    bool mFailNextContinuation = false;
    QHash<int, QString> mPaths;
    std::vector<WriteAttempt> mAttempts;
    // The write in progress: a continuation carries on from exactly where it stopped.
    int mLastDescriptor = -1;
    const char* mLastEnd = nullptr;
    qint64 mLastEndPosition = -1;
};

// Makes an io the process's current one for its life and gives the earlier one back.
class ScopedFileIo {
public:
    explicit ScopedFileIo(LoggerFileIo* io) : mPrevious(LoggerFileIo::install(io)) {}
    ~ScopedFileIo() { LoggerFileIo::install(mPrevious); }
    ScopedFileIo(const ScopedFileIo&) = delete;
    ScopedFileIo& operator=(const ScopedFileIo&) = delete;

private:
    LoggerFileIo* mPrevious;
};
