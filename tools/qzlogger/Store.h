#pragma once

#include <QString>

// The store as the tool opens it: as a reader, so that the catalogue is opened read-only and no
// file of the store is written.
namespace qzcli {

// Opens the store: the live one beside its writer, as the configuration "database.xml" and the
// card service name it, or with cardPath the card folder there (its catalogue
// <cardPath>/logger/logger.db and data files in <cardPath>/logger/data), without card service or
// writer. False with a one-line text that says what to do.
bool openStore(const QString& cardPath, QString& error);

// Closes the catalogue again.
void closeStore();

} // namespace qzcli
