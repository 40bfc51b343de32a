#pragma once

#include <QString>
#include <QStringList>

// Sends the store's log lines of this process into a file of the test, one line each as
// "category|LEVEL|message" (for example "Logger.Db|INFO|Database closed"), at level INFO and
// above. install() sets QZLOGGER_LOG_CONFIG to a properties file of its own and must run before
// the first object of the store is made (TrackObject::initTrack configures logging, once per
// process); call it first in SetUp, or at the start of a child test. A fixture with members
// that are objects of the store makes them before SetUp runs: call it from SetUpTestSuite
// there. The file lives until the process ends.
class LogCapture {
public:
    // False where logging was configured before, from another file, or the file cannot be made.
    static bool install();
    // install() once, for tests that only want the store's lines out of the console.
    static LogCapture& instance();
    static QString file();

    static QStringList lines();
    // How many lines equal `line` exactly.
    static int count(const QString& line);
    static bool contains(const QString& line) { return count(line) > 0; }
    // Every line as one text, for failure messages.
    static QString text();

private:
    LogCapture() = default;
};
