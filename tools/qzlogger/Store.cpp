#include "Store.h"

#include <qzlogger.h>

#include <QDir>
#include <QFileInfo>

namespace qzcli {

namespace {

// The layout of a card as the shipped configuration makes it.
constexpr const char* kLoggerFolder = "logger";
constexpr const char* kDataFolder = "data";
constexpr const char* kCatalogueName = "logger.db";

} // namespace

bool openStore(const QString& cardPath, QString& error)
{
    LoggerDb& db = LoggerDb::getInstance();
    if (cardPath.isEmpty()) {
        DatabaseInterface database;
        database.setWriterMode(false);
        if (!database.initialize()) {
            error = QStringLiteral("the store did not open: %1; give a card folder with --card PATH")
                        .arg(db.getLastError().isEmpty() ? QStringLiteral("no configuration")
                                                         : db.getLastError());
            return false;
        }
        return true;
    }
    const QFileInfo card(cardPath);
    if (!card.isDir()) {
        error =
            QStringLiteral("the card folder %1 does not exist: give the folder that holds logger/logger.db")
                .arg(cardPath);
        return false;
    }
    const QString disk = card.absoluteFilePath();
    const QString loggerPath = QDir(disk).filePath(QString::fromLatin1(kLoggerFolder));
    const QString catalogue = QDir(loggerPath).filePath(QString::fromLatin1(kCatalogueName));
    if (!QFileInfo(catalogue).isFile()) {
        error = QStringLiteral("%1 is not a store: it has no catalogue %2; give the folder that holds "
                               "logger/logger.db")
                    .arg(cardPath, catalogue);
        return false;
    }
    db.setWriterMode(false);
    if (!db.initialize(disk, loggerPath, QString::fromLatin1(kDataFolder),
                       QString::fromLatin1(kCatalogueName), false)) {
        error = QStringLiteral("the store at %1 did not open: %2").arg(cardPath, db.getLastError());
        return false;
    }
    return true;
}

OpenedStore::OpenedStore(const Invocation& invocation)
{
    QString error;
    if (!openStore(invocation.cardPath, error)) {
        complain(invocation, error);
        return;
    }
    mApi.reset(LoggerApiInterface::getApi());
    mCatalogue = std::make_unique<LoggerApiBase>();
}

OpenedStore::~OpenedStore()
{
    if (isOpen()) {
        mCatalogue.reset();
        mApi.reset();
        LoggerDb::getInstance().close();
    }
}

} // namespace qzcli
