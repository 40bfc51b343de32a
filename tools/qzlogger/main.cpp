// qzlogger: inspects a store of the measurement logger from the command line. See
// docs/qzlogger.md and `qzlogger --help`.

#include "Cli.h"

#include <QCoreApplication>
#include <log4cxx/level.h>
#include <log4cxx/logger.h>
#include <log4cxx/logmanager.h>

namespace {

// The store logs through log4cxx; on a command line its lines would mix with the tool's own
// output and its one-line messages. Unless a log configuration is named, the tool claims
// log4cxx's configuration first, with every message off; the store then leaves it so.
void quietStoreLog()
{
    if (qEnvironmentVariableIsSet("QZLOGGER_LOG_CONFIG") ||
        qEnvironmentVariableIsSet("LOG4CXX_CONFIGURATION"))
        return;
    const log4cxx::spi::LoggerRepositoryPtr repository = log4cxx::LogManager::getLoggerRepository();
    repository->ensureIsConfigured(
        [&repository] { repository->getRootLogger()->setLevel(log4cxx::Level::getOff()); });
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    quietStoreLog();
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    return qzcli::run(arguments);
}
