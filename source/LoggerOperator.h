#pragma once

#include "LoggerDataItems.h"
#include "LoggerTemplate.h"

#include <QString>
#include <ctime>

// The operator log: who did what on the instrument (user, IP address, operation and its data).
// One per process, reached through the statics; it writes each entry at once (no cache) into
// files of at most 500000 bytes.
//
// The instance is built on first use rather than before main: building it registers the
// logger with LoggerList and LoggerAccessList and sets up logging, which a host program (and
// a test that captures the log) must be able to configure first.
//
// mOperatorEnabled is the operator log's own switch and is not the enabled flag of LoggerBase:
// while it is false, entries are accepted and dropped, and removal does nothing.
//
// Threads: the rules of LoggerBase and of the write cache apply; the statics reach the one
// instance without a lock of their own.
class LoggerOperator : public LoggerTemplate<DataOperator> {
public:
    static constexpr int kMaximumFileSize = 500000;

    LoggerOperator();
    LoggerOperator(const LoggerOperator&) = delete;
    LoggerOperator& operator=(const LoggerOperator&) = delete;
    ~LoggerOperator() override;

    QString getLoggerName() override;
    QString getConfiguratedMeasuredTypeId() override;

    static LoggerOperator* getInstance();
    // Whether the logger runs (LoggerBase), not the operator switch.
    static bool getEnabled();
    static bool initialize();
    static bool start();
    static int getDaysPerFileInterval();
    // Zeroes the whole record; setUser relies on that for the name's terminator.
    static void createDefault(DataOperator& item);
    // The Latin-1 form of the name, at most 19 characters, without a terminator.
    static void setUser(QString user, DataOperator& item);
    // The first four parts of a dotted address, each as one byte; fewer parts are not guarded
    // against.
    static void setIp(QString ip, DataOperator& item);
    // True without doing anything while the operator switch is off.
    static bool remove(bool reinitialize);
    static timespec getTime();
    // Writes "device" and its terminator; always true.
    static bool getUserName(char* user);
    static QString getQUserName();
    static void closeTimer();
    // Writes one entry: an unset time (both words 0) becomes now, an empty user "device".
    // True without writing while the operator switch is off.
    static bool logEvent(DataOperator item);
    // A new file while the operator switch is on; otherwise nothing, and the result means
    // nothing.
    static bool createNewOperatorFile(timespec time);

    bool isOperatorEnabled() const;
    void setOperatorEnabled(bool enabled);

private:
    static LoggerOperator& instance();

    bool mOperatorEnabled = true;
};
