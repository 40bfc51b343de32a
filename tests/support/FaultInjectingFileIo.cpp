#include "FaultInjectingFileIo.h"

#include <QFile>
#include <QMutexLocker>

#include <cerrno>

void FaultInjectingFileIo::failNth(Operation operation, int n, Fault fault)
{
    QMutexLocker locker(&mMutex);
    mCounts.fill(0);
    mArmed.clear();
    if (n > 0) {
        mArmed.push_back(ArmedFault{operation, n, fault});
    }
    mFired = false;
    mFailNextContinuation = false;
}

void FaultInjectingFileIo::alsoFailNth(Operation operation, int n, Fault fault)
{
    QMutexLocker locker(&mMutex);
    if (n > 0) {
        mArmed.push_back(ArmedFault{operation, n, fault});
    }
}

void FaultInjectingFileIo::disarm()
{
    QMutexLocker locker(&mMutex);
    mArmed.clear();
    mFailNextContinuation = false;
}

bool FaultInjectingFileIo::fired() const
{
    QMutexLocker locker(&mMutex);
    return mFired;
}

int FaultInjectingFileIo::count(Operation operation) const
{
    QMutexLocker locker(&mMutex);
    return mCounts[static_cast<size_t>(operation)];
}

std::vector<FaultInjectingFileIo::WriteAttempt> FaultInjectingFileIo::attempts() const
{
    QMutexLocker locker(&mMutex);
    return mAttempts;
}

void FaultInjectingFileIo::clearAttempts()
{
    QMutexLocker locker(&mMutex);
    mAttempts.clear();
    mLastDescriptor = -1;
    mLastEnd = nullptr;
}

bool FaultInjectingFileIo::strikes(Operation operation)
{
    const int number = ++mCounts[static_cast<size_t>(operation)];
    for (const ArmedFault& armed : mArmed) {
        if (armed.operation == operation && armed.at == number) {
            mFault = armed.fault;
            mFired = true;
            return true;
        }
    }
    return false;
}

int FaultInjectingFileIo::errnoOf(Fault fault)
{
    switch (fault) {
    case Fault::NoSpace: return ENOSPC;
    case Fault::FileTooLarge: return EFBIG;
    case Fault::IoError: return EIO;
    case Fault::ShortWrite: return ENOSPC;
    }
    return EIO;
}

const char* FaultInjectingFileIo::nameOf(Fault fault)
{
    switch (fault) {
    case Fault::NoSpace: return "ENOSPC";
    case Fault::FileTooLarge: return "EFBIG";
    case Fault::IoError: return "EIO";
    case Fault::ShortWrite: return "short write";
    }
    return "?";
}

bool FaultInjectingFileIo::open(QFile& file, QIODevice::OpenMode mode)
{
    {
        QMutexLocker locker(&mMutex);
        if (strikes(Operation::Open)) {
            errno = errnoOf(mFault);
            return false;
        }
    }
    if (!LoggerFileIo::open(file, mode)) {
        return false;
    }
    QMutexLocker locker(&mMutex);
    mPaths.insert(file.handle(), file.fileName());
    return true;
}

int FaultInjectingFileIo::openDescriptor(const QByteArray& path, int flags)
{
    {
        QMutexLocker locker(&mMutex);
        if (strikes(Operation::Open)) {
            errno = errnoOf(mFault);
            return -1;
        }
    }
    const int descriptor = LoggerFileIo::openDescriptor(path, flags);
    if (descriptor >= 0) {
        QMutexLocker locker(&mMutex);
        mPaths.insert(descriptor, QFile::decodeName(path));
    }
    return descriptor;
}

ssize_t FaultInjectingFileIo::pread(int descriptor, void* buffer, size_t length, off_t position)
{
    {
        QMutexLocker locker(&mMutex);
        if (strikes(Operation::Read)) {
            errno = errnoOf(mFault);
            return -1;
        }
    }
    return LoggerFileIo::pread(descriptor, buffer, length, position);
}

ssize_t FaultInjectingFileIo::pwrite(int descriptor, const void* data, size_t length, off_t position)
{
    QMutexLocker locker(&mMutex);
    const char* bytes = static_cast<const char*>(data);
    const bool continuation =
        descriptor == mLastDescriptor && bytes == mLastEnd && position == mLastEndPosition;
    if (!continuation) {
        WriteAttempt attempt;
        attempt.path = mPaths.value(descriptor);
        attempt.position = position;
        attempt.bytes = QByteArray(bytes, static_cast<int>(length));
        mAttempts.push_back(attempt);
    }
    WriteAttempt& attempt = mAttempts.back();
    attempt.whole = false;

    ssize_t result = 0;
    if (continuation && mFailNextContinuation) {
        mFailNextContinuation = false;
        errno = ENOSPC;
        result = -1;
    } else if (strikes(Operation::Write)) {
        if (mFault == Fault::ShortWrite && length > 1) {
            result = LoggerFileIo::pwrite(descriptor, data, length / 2, position);
            mFailNextContinuation = result > 0;
        } else {
            errno = errnoOf(mFault);
            result = -1;
        }
    } else {
        result = LoggerFileIo::pwrite(descriptor, data, length, position);
    }

    if (result > 0) {
        mLastDescriptor = descriptor;
        mLastEnd = bytes + result;
        mLastEndPosition = position + result;
        attempt.whole = position + result == attempt.position + attempt.bytes.size();
    } else {
        mLastDescriptor = -1;
        mLastEnd = nullptr;
    }
    return result;
}

int FaultInjectingFileIo::truncate(int descriptor, off_t length)
{
    {
        QMutexLocker locker(&mMutex);
        if (strikes(Operation::Truncate)) {
            errno = errnoOf(mFault);
            return -1;
        }
    }
    return LoggerFileIo::truncate(descriptor, length);
}

int FaultInjectingFileIo::sync(int descriptor)
{
    {
        QMutexLocker locker(&mMutex);
        if (strikes(Operation::Sync)) {
            errno = errnoOf(mFault);
            return -1;
        }
    }
    return LoggerFileIo::sync(descriptor);
}
