#pragma once

#include <QString>

#include <sys/types.h>

// Facts about a running process, as the kernel shows them below /proc.
class ProcessInfo {
public:
    ProcessInfo() = delete;

    // The short name of the process (its "comm", at most 15 characters as the kernel cuts it);
    // where that can't be read, the file name of the first word of its command line; an empty
    // text for a process that does not exist.
    static QString getProcessName(pid_t pid);
};
