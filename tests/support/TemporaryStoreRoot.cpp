#include "TemporaryStoreRoot.h"

#include <QDir>

TemporaryStoreRoot::TemporaryStoreRoot() : mDir(QDir::tempPath() + "/qzlogger-test-XXXXXX")
{
}
