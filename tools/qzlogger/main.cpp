// qzlogger: inspects a store of the measurement logger from the command line. See
// docs/qzlogger.md and `qzlogger --help`.

#include "Cli.h"

#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <log4cxx/level.h>
#include <log4cxx/logger.h>
#include <log4cxx/logmanager.h>

#include <memory>

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

// Whether the command is plot, which paints and so needs a QGuiApplication; the options before
// the command are passed over as Cli's run passes over them.
bool runsPlot(int argc, char** argv)
{
    for (int index = 1; index < argc; ++index) {
        const QByteArray word(argv[index]);
        if (word == "--card")
            ++index;
        else if (!word.startsWith('-'))
            return word == "plot";
    }
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    // Declared before the application, which it must outlive.
    std::unique_ptr<QTemporaryDir> runtimeFolder;
    std::unique_ptr<QCoreApplication> application;
    if (runsPlot(argc, argv)) {
        // Charts are painted into files, never onto a screen: no display is needed. The minimal
        // platform with fontconfig's fonts paints the texts as well; the offscreen one would do
        // too, but leaves its screen behind at the end, which a leak check counts against us.
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "minimal:enable_fonts");
        // Qt looks into the user's runtime folder even on a platform without a display; without
        // XDG_RUNTIME_DIR it makes /tmp/runtime-<user> for good and says so on the error stream.
        // A private folder of this run keeps both away and goes with it.
        if (!qEnvironmentVariableIsSet("XDG_RUNTIME_DIR")) {
            runtimeFolder = std::make_unique<QTemporaryDir>();
            if (runtimeFolder->isValid())
                qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtimeFolder->path()));
        }
        application = std::make_unique<QGuiApplication>(argc, argv);
    } else {
        application = std::make_unique<QCoreApplication>(argc, argv);
    }
    quietStoreLog();
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    return qzcli::run(arguments);
}
