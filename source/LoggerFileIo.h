#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <QtGlobal>

#include <sys/types.h>

class QFile;

// The data files' way to the card. Every open, positioned read and write, truncation and sync
// that the data-file layer and the writer do on a data file goes through the process's current
// LoggerFileIo, whose default is the real file system. Another object can be installed in its
// place, so that a test makes the Nth operation fail as a full card, a file-size limit or a bad
// sector would, or counts the reads of an operation.
//
// The operations follow POSIX: a count or 0, or -1 with errno set. They work on the descriptor
// of a QFile that open() opened, so the QFile keeps its name and its open state for the rest of
// the store, or on one that openDescriptor() opened.
//
// Threads: the current object is read without a lock by every thread of the process. Install
// one before the store's threads start, and keep it alive until they have stopped.
class LoggerFileIo {
public:
    LoggerFileIo() = default;
    virtual ~LoggerFileIo();
    LoggerFileIo(const LoggerFileIo&) = delete;
    LoggerFileIo& operator=(const LoggerFileIo&) = delete;

    // Opens `file` by its name. False where it did not open, with errno telling why.
    virtual bool open(QFile& file, QIODevice::OpenMode mode);
    // Opens the file at path (in the file system's encoding) with the flags of open(2), closed
    // on exec: the descriptor, or -1 with errno telling why. The writer's reopen for each block
    // takes this way, without a QFile.
    virtual int openDescriptor(const QByteArray& path, int flags);
    // Up to length bytes from position, without moving the descriptor's offset; 0 at the end.
    virtual ssize_t pread(int descriptor, void* buffer, size_t length, off_t position);
    // Up to length bytes to position, without moving the descriptor's offset. A count below
    // length is a short write; the caller goes on or gives up.
    virtual ssize_t pwrite(int descriptor, const void* data, size_t length, off_t position);
    // Cuts the file to length bytes.
    virtual int truncate(int descriptor, off_t length);
    // Brings the file's data to the card.
    virtual int sync(int descriptor);

    // The object that every data-file operation uses now.
    static LoggerFileIo& current();
    // Makes io the current object and returns the one it replaces; nullptr stands for the real
    // file system. io is not owned.
    static LoggerFileIo* install(LoggerFileIo* io);

    // Exactly length bytes from position unless the end of the file comes first: the number
    // read, or -1 on an error. Interrupted and partial reads are continued.
    static qint64 readFully(int descriptor, char* buffer, qint64 length, qint64 position);
    // All length bytes to position: the number that went out before the first failure, which is
    // length on success. Where it is less, error holds the errno of the failure (ENOSPC for a
    // write that took nothing without saying why).
    static qint64 writeFully(int descriptor, const char* data, qint64 length, qint64 position, int& error);
    // The text of an open that failed: Qt's, where Qt saw the cause, else the system's.
    static QString openErrorText(const QFile& file, int error);
    static QString errorText(int error);
};
