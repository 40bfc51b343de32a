#pragma once

#include <QString>
#include <QStringList>

#include <cstdio>
#include <vector>

// The command line of the qzlogger tool: the global options, the sub-commands with their help,
// and the exit statuses. A sub-command reads the store through the public library only and
// never changes a byte of it.
namespace qzcli {

// The exit statuses: done; done, and the store has findings; the command line or the store
// could not be used as given.
constexpr int kExitOk = 0;
constexpr int kExitFindings = 1;
constexpr int kExitUsage = 2;

// What a sub-command is handed: the options before it and its own arguments.
struct Invocation {
    QString command;   // the sub-command's name
    QString cardPath;  // --card PATH: a card's folder read without card service and writer
    QStringList words; // the sub-command's arguments and options, as given
};

// One line on the standard error stream, "qzlogger <command>: <text>"; where the line says what
// went wrong it also says what to do.
void complain(const Invocation& invocation, const QString& text);

// One line on the standard output stream.
void printLine(const QString& line);
// One line of a table: each column but the last padded to its width and followed by a blank.
void printColumns(const QStringList& columns, const std::vector<int>& widths);

// Runs the tool on its arguments (the program's name left out) and returns the exit status.
int run(const QStringList& arguments);

} // namespace qzcli
