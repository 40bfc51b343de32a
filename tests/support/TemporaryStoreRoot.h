#pragma once

#include <QString>
#include <QTemporaryDir>

// A fresh directory per test that stands in for the data folder on the card. It is removed
// with everything in it when the object goes.
class TemporaryStoreRoot {
public:
    TemporaryStoreRoot();
    TemporaryStoreRoot(const TemporaryStoreRoot&) = delete;
    TemporaryStoreRoot& operator=(const TemporaryStoreRoot&) = delete;

    bool isValid() const { return mDir.isValid(); }
    QString path() const { return mDir.path(); }
    // A path below the root, made of the given relative part.
    QString filePath(const QString& relative) const { return mDir.filePath(relative); }

private:
    QTemporaryDir mDir;
};
