#pragma once

#include "CardSimulatorProcess.h"
#include "PrivateSystemBus.h"

#include "LoggerState.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <memory>

class ChildTestProcess;

// A store brought up as the writer brings it up, for tests that need LoggerDb open on a real
// catalogue of a simulated card.
//
// start() does, in this order:
//   1. a private system bus (PrivateSystemBus) and the card simulator on it, reporting the
//      state of Options::cardState, the mount point mountPoint(), the logger path loggerPath()
//      and the logger size Options::loggerSize (unless Options::startCard is false: then no
//      card service is on the bus);
//   2. the mount point, a fresh directory under /var/log (a folder that CheckMountPath counts
//      as mounted), with its logger folder, where the card service would have made it;
//   3. a fresh directory for the three shared state files, named by QZLOGGER_STATE_DIR, and a
//      process-id file path in it, named by QZLOGGER_PID_FILE; both variables are set in this
//      process and given back their earlier values when the object goes;
//   4. LoggerDb::setWriterMode(true) and, with Options::initialize, the five-argument
//      LoggerDb::initialize(mountPoint(), loggerPath(), kDataFolder, kDbName, dropSchema).
//
// start() returns true when everything up to and including initialize succeeded;
// errorString() says what failed otherwise. With Options::initialize false it stops before
// initialize and the test calls it itself (initializeWriter(), or LoggerDb directly).
//
// The destructor closes the catalogue, stops the simulator and the bus by their process ids and
// removes the mount point and the state directory with everything in them.
//
// Qt binds the system bus once per process, so one WriterStore per test process; every test of
// the suite runs in a process of its own.
//
// For reader processes, exportTo() hands the store's environment to a ChildTestProcess; in the
// child, ReaderStore brings LoggerDb up as a reader on the same card and catalogue.
class WriterStore {
public:
    static constexpr const char* kDataFolder = "data";
    static constexpr const char* kDbName = "logger.db";
    // The mount point as the child process of a reader learns it.
    static constexpr const char* kMountPointVariable = "QZLOGGER_TEST_MOUNT_POINT";

    struct Options {
        int cardState = 3;       // State of the simulated card; 3 is mounted
        bool startCard = true;   // false: no card service on the bus
        bool initialize = true;  // false: start() stops before LoggerDb::initialize
        bool dropSchema = false; // passed to initialize
        // What the card service reports as the size of the logger partition (the simulator's
        // --logger-size); 0 reports none, so that the store measures the disk itself; below 0
        // the simulator's default.
        qint64 loggerSize = -1;
    };

    WriterStore();
    explicit WriterStore(const Options& options);
    ~WriterStore();
    WriterStore(const WriterStore&) = delete;
    WriterStore& operator=(const WriterStore&) = delete;

    bool start();
    // The five-argument initialize with the store's paths, as start() calls it.
    bool initializeWriter();

    // The card's mount point (the disk), the logger folder below it, the data folder and the
    // catalogue file.
    QString mountPoint() const;
    QString loggerPath() const;
    QString dataFolderPath() const;
    QString databaseFile() const;
    QString pidFile() const;
    QString stateDirectory() const;

    // The state word as the shared file holds it, 0 where the file is empty or missing.
    LoggerState readLoggerStateFile() const;

    PrivateSystemBus& bus() { return mBus; }
    CardSimulatorProcess& card() { return mCard; }
    QString errorString() const { return mError; }

    // For a test whose writer is a child process: this process gives up the writer's lock, so
    // that the child's initialize as the writer is not refused. The catalogue stays open here.
    void handOver();

    // Sets in the child the bus address, the state directory, the process-id file and the mount
    // point, so that a ReaderStore there finds this store.
    void exportTo(ChildTestProcess& child) const;

private:
    bool fail(const QString& error);
    void restoreVariable(const char* name, bool had, const QByteArray& value);

    Options mOptions;
    PrivateSystemBus mBus;
    CardSimulatorProcess mCard;
    std::unique_ptr<QTemporaryDir> mMountPoint;
    QTemporaryDir mStateDirectory;
    QString mError;
    bool mVariablesSet = false;
    bool mHadPidFile = false;
    bool mHadStateDir = false;
    QByteArray mEarlierPidFile;
    QByteArray mEarlierStateDir;
};

// The reader's side of a WriterStore, in a child process that WriterStore::exportTo prepared:
// LoggerDb::setWriterMode(false) and the five-argument initialize on the same mount point,
// logger folder, data folder and catalogue. The reader's card service is the writer's simulator.
class ReaderStore {
public:
    // True where the environment names a store (in a child that exportTo prepared).
    static bool isAvailable();

    ReaderStore() = default;
    ~ReaderStore();
    ReaderStore(const ReaderStore&) = delete;
    ReaderStore& operator=(const ReaderStore&) = delete;

    bool start();
    // The same store brought up as the writer, as a restarted writer process does: its own
    // process id goes into the process-id file.
    bool startAsWriter();

    QString mountPoint() const;
    QString loggerPath() const;
    QString databaseFile() const;
};
