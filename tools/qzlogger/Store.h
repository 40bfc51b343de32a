#pragma once

#include "Cli.h"

#include <qzlogger.h>

#include <QString>

#include <memory>

// The store as the tool opens it: as a reader, so that the catalogue is opened read-only and no
// file of the store is written.
namespace qzcli {

// Opens the store: the live one beside its writer, as the configuration "database.xml" and the
// card service name it, or with cardPath the card folder there (its catalogue
// <cardPath>/logger/logger.db and data files in <cardPath>/logger/data), without card service or
// writer. False with a one-line text that says what to do.
bool openStore(const QString& cardPath, QString& error);

// The store opened for one command, with the read API and the catalogue's types; the
// catalogue is closed again when it goes.
class OpenedStore {
public:
    // Opens the store of the invocation (openStore), or complains with its one line and stays
    // closed.
    explicit OpenedStore(const Invocation& invocation);
    ~OpenedStore();
    OpenedStore(const OpenedStore&) = delete;
    OpenedStore& operator=(const OpenedStore&) = delete;

    bool isOpen() const { return mApi != nullptr; }
    // Only while open.
    LoggerApiInterface& api() { return *mApi; }
    LoggerApiBase& catalogue() { return *mCatalogue; }

private:
    std::unique_ptr<LoggerApiInterface> mApi;
    std::unique_ptr<LoggerApiBase> mCatalogue;
};

} // namespace qzcli
