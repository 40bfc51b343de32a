#pragma once

#include "Cli.h"

#include <QElapsedTimer>
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

// The command line of the invocation's command, "qzlogger <synopsis>", for its complaints.
QString usageOf(const Invocation& invocation);

// Splits the words of the invocation: each name of `names` takes a value, given as
// "--name VALUE" or "--name=VALUE"; the value may begin with a minus sign ("--from -1h"). False,
// after a one-line complaint, for another word that begins with a minus sign (but "-", the
// operator log), an option without its value, or one given twice.
bool parseOptions(const Invocation& invocation, const QStringList& names, Options& options);

// False, after a one-line complaint, where one of the names was not given.
bool requireOptions(const Invocation& invocation, const Options& options, const QStringList& names);

// --from and --to as times (TimeText's forms), both read against one moment of "now". Where one
// is not given: with `required` a complaint, else the start of 1970 and the latest time the store
// can hold. False, after a one-line complaint, for a text that is no time or a start after the
// end.
bool parseRange(const Invocation& invocation, const Options& options, bool required, timespec& start,
                timespec& end);

// A count of at least 1; false after a complaint.
bool parseCount(const Invocation& invocation, const QString& name, const QString& text, long long& count);

// The progress line of a long run on a terminal: one line on the standard error stream,
// overwritten in place and cleared at the end, so that neither the output nor a file it goes to
// holds it; nothing where the standard error stream is not a terminal.
class Progress {
public:
    Progress();
    ~Progress() { clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // Shows the text; the first at once, then at most ten a second.
    void show(const QString& text);
    // Before a line goes to the standard output, which may share the terminal.
    void clear();

private:
    void write(const QString& text);

    bool mShown;
    int mWidth = 0;
    QElapsedTimer mClock;
};

} // namespace qzcli
