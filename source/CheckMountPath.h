#pragma once

#include <QString>

// Decides from the kernel's mount table whether a folder is really mounted, so that the store
// never writes into the empty mount point of a card that is gone.
class CheckMountPath {
public:
    CheckMountPath();
    explicit CheckMountPath(const QString& path);

    QString getPath() const;
    void setPath(const QString& path);
    // The mount table to read; tests point it at a file of their own.
    void setMountInfo(const QString& mountInfo);

    // False where the mount table does not exist. A path containing "/var/log" counts as always
    // mounted. Otherwise true at the first line of the table that contains the path as a plain
    // substring, so "/media/sdcard" also matches a line of "/media/sdcard2".
    bool isMounted() const;

private:
    QString mPath;
    QString mMountInfo;
};
