#pragma once

#include "Cli.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <ctime>

// The options of the sub-commands that take them, and the time range most of them read.
namespace qzcli {

struct Options {
    QMap<QString, QString> values; // by name without the dashes
    QStringList operands;          // the other words, in order
};

// Splits the words of the invocation: each name of `names` takes a value, given as
// "--name VALUE" or "--name=VALUE". False, after a one-line complaint, for another word that
// begins with "--", an option without its value, or one given twice.
bool parseOptions(const Invocation& invocation, const QStringList& names, Options& options);

// --from and --to as times (TimeText's forms). Where one is not given: with `required` a
// complaint, else the start of 1970 and the latest time the store can hold. False, after a
// one-line complaint, for a text that is no time or a start after the end.
bool parseRange(const Invocation& invocation, const Options& options, bool required, timespec& start,
                timespec& end);

// A count of at least 1; false after a complaint.
bool parseCount(const Invocation& invocation, const QString& name, const QString& text, long long& count);

// Where the store's read of a long run shows how far it is: on a terminal, one line on the
// standard error stream that is written over and cleared at the end; nothing where the standard
// error stream is not a terminal.
class Progress {
public:
    explicit Progress(const QString& command);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // done of total (units such as "items"); shown at most five times a second.
    void show(long long done, long long total, const char* unit);

private:
    QString mCommand;
    bool mTerminal = false;
    bool mShown = false;
    long long mLastShown = 0; // milliseconds of the monotonic clock
};

} // namespace qzcli
