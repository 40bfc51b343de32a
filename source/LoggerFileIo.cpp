#include "LoggerFileIo.h"

#include <QFile>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

LoggerFileIo& realFileSystem()
{
    static LoggerFileIo io;
    return io;
}

// Relaxed: installing is done before the store's threads start, and never during their work.
std::atomic<LoggerFileIo*> installedIo{nullptr};

} // namespace

LoggerFileIo::~LoggerFileIo() = default;

bool LoggerFileIo::open(QFile& file, QIODevice::OpenMode mode)
{
    errno = 0;
    if (file.open(mode)) {
        return true;
    }
    if (errno == 0) {
        errno = EIO;
    }
    return false;
}

int LoggerFileIo::openDescriptor(const QByteArray& path, int flags)
{
    int descriptor = -1;
    do {
        descriptor = ::open(path.constData(), flags | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

ssize_t LoggerFileIo::pread(int descriptor, void* buffer, size_t length, off_t position)
{
    return ::pread(descriptor, buffer, length, position);
}

ssize_t LoggerFileIo::pwrite(int descriptor, const void* data, size_t length, off_t position)
{
    return ::pwrite(descriptor, data, length, position);
}

int LoggerFileIo::truncate(int descriptor, off_t length)
{
    return ::ftruncate(descriptor, length);
}

int LoggerFileIo::sync(int descriptor)
{
    return ::fdatasync(descriptor);
}

LoggerFileIo& LoggerFileIo::current()
{
    LoggerFileIo* io = installedIo.load(std::memory_order_relaxed);
    return io != nullptr ? *io : realFileSystem();
}

LoggerFileIo* LoggerFileIo::install(LoggerFileIo* io)
{
    LoggerFileIo* previous = installedIo.exchange(io, std::memory_order_relaxed);
    return previous != nullptr ? previous : &realFileSystem();
}

qint64 LoggerFileIo::readFully(int descriptor, char* buffer, qint64 length, qint64 position)
{
    if (descriptor < 0 || length < 0 || position < 0) {
        errno = EINVAL;
        return -1;
    }
    LoggerFileIo& io = current();
    qint64 done = 0;
    while (done < length) {
        const ssize_t result = io.pread(descriptor, buffer + done, static_cast<size_t>(length - done),
                                        static_cast<off_t>(position + done));
        if (result < 0) {
            if (errno == EINTR) {
                continue;
            }
            return -1;
        }
        if (result == 0) {
            break;
        }
        done += result;
    }
    return done;
}

qint64 LoggerFileIo::writeFully(int descriptor, const char* data, qint64 length, qint64 position, int& error)
{
    error = 0;
    if (descriptor < 0 || length < 0 || position < 0 || (data == nullptr && length > 0)) {
        error = descriptor < 0 ? EBADF : EINVAL;
        return 0;
    }
    LoggerFileIo& io = current();
    qint64 done = 0;
    while (done < length) {
        const ssize_t result = io.pwrite(descriptor, data + done, static_cast<size_t>(length - done),
                                         static_cast<off_t>(position + done));
        if (result < 0 && errno == EINTR) {
            continue;
        }
        if (result <= 0) {
            error = result < 0 ? errno : ENOSPC;
            break;
        }
        done += result;
    }
    return done;
}

QString LoggerFileIo::openErrorText(const QFile& file, int error)
{
    if (file.error() != QFileDevice::NoError) {
        return file.errorString();
    }
    return errorText(error);
}

QString LoggerFileIo::errorText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}
