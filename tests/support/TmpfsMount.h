#pragma once

#include <QString>

// A small tmpfs mounted on a folder for the life of the object, to stand in for a card that can
// really be filled up. Mounting needs root; where it fails, mounted() is false and error() says
// why, and the test skips. The destructor unmounts, lazily where something still holds a file
// there, so that no mount outlives the test.
class TmpfsMount {
public:
    TmpfsMount(const QString& path, qint64 bytes);
    ~TmpfsMount();
    TmpfsMount(const TmpfsMount&) = delete;
    TmpfsMount& operator=(const TmpfsMount&) = delete;

    bool mounted() const { return mMounted; }
    QString error() const { return mError; }
    // Free bytes of the mounted file system, -1 where it can't be told.
    qint64 freeBytes() const;

private:
    QString mPath;
    QString mError;
    bool mMounted = false;
};
