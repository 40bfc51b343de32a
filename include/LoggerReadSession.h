#pragma once

#include "qzlogger_export.h"

struct LoggerReadSessionFiles;

// One read of the read API as the data files see it: while a session runs on a thread, every
// operation of the file layer on that thread that reads a data file shares one open of it. A read
// that lists, sizes, searches and reads a file in several passes thus opens it once. Each pass
// still sees the file as it is then: the size is asked of the open descriptor, a search made
// before is reused while size and times are unchanged and the last item keeps its stamp, and a
// file that was removed meanwhile is missing for the passes after (or, made anew under its name,
// opened again). A session keeps at most 32 files open, closing the one used longest ago.
//
// A session begun while another runs on the same thread joins it and ends nothing. end() closes
// the files early, before a read's pause, so that an evicted file does not stay held open.
class QZLOGGER_EXPORT LoggerReadSession {
public:
    LoggerReadSession();
    ~LoggerReadSession();
    LoggerReadSession(const LoggerReadSession&) = delete;
    LoggerReadSession& operator=(const LoggerReadSession&) = delete;

    void end();

private:
    LoggerReadSessionFiles* mFiles; // the session this object began; null where it joined one
};
