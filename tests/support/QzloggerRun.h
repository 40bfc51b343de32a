#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

// The qzlogger program, run as a user runs it, for the tests of its commands.

// The program that the build made.
QString qzloggerProgram();

// The tool's exit status and what it printed, both streams merged and trimmed; standard output
// alone as bytes, for output that is not text.
struct ToolRun {
    int status = -1;
    QString output;
    QByteArray standardOutput;
};

// Runs the tool to its end; status -1 where it did not start, did not end within 60 s or
// crashed. Without an environment it inherits this process's.
ToolRun runTool(const QStringList& arguments);
ToolRun runTool(const QStringList& arguments, const QProcessEnvironment& environment);

// Runs the tool on the live store of the card service on this process's bus: it finds the
// configuration "database.xml" (data folder "data", catalogue "logger.db", no target path) in
// a Qt configuration folder that XDG_CONFIG_HOME names for the run alone.
ToolRun runToolLive(const QStringList& arguments);

// What a run on a terminal showed there, both output streams, and its exit status (-1 where it
// did not start, did not end within 60 s or crashed).
struct TerminalRun {
    int status = -1;
    QByteArray shown;
};

// Runs the tool with its standard output and error on a pseudo-terminal, as from a shell.
TerminalRun runToolOnTerminal(const QStringList& arguments);

// A copy of a card's folder, every file below mountPoint, in a fresh folder below /var/log (the
// store takes a card folder there without a mount); null where a file could not be copied.
std::unique_ptr<QTemporaryDir> copyCard(const QString& mountPoint);

// The line of a listing that begins with the word first, split at its blanks; empty where none
// does.
QStringList rowOf(const QString& listing, const QString& first);
