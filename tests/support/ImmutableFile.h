#pragma once

#include <QString>

// A file that not even root may open for writing, for the life of the object: the immutable
// attribute of the file system (chattr +i), taken off again by the destructor, so that the file
// can be removed. Where the file system or the user cannot set it, isSet() is false and error()
// says why, and the test skips.
class ImmutableFile {
public:
    explicit ImmutableFile(const QString& path);
    ~ImmutableFile();
    ImmutableFile(const ImmutableFile&) = delete;
    ImmutableFile& operator=(const ImmutableFile&) = delete;

    bool isSet() const { return mSet; }
    QString error() const { return mError; }

private:
    QString mPath;
    QString mError;
    bool mSet = false;
};
