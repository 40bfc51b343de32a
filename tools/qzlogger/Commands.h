#pragma once

#include "Cli.h"

// The sub-commands, each with the help that `qzlogger <command> --help` prints.
namespace qzcli {

struct Command {
    const char* name;
    const char* synopsis; // the command line, as the help shows it
    const char* summary;  // one line for the list of sub-commands
    const char* help;     // what it prints and its options, after the synopsis
    // Runs on an invocation whose words hold no --help; returns the exit status.
    int (*run)(const Invocation& invocation);
};

// The sub-commands in the order the help lists them.
const Command* commands(int& count);

int runInfo(const Invocation& invocation);
int runList(const Invocation& invocation);
int runFiles(const Invocation& invocation);
int runDump(const Invocation& invocation);
int runStats(const Invocation& invocation);
int runPlot(const Invocation& invocation);
int runVerify(const Invocation& invocation);

} // namespace qzcli
