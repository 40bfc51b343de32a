#pragma once

#include <atomic>

namespace qzdb {

// Fault injection into the catalogue core, for tests: it makes chosen calls of the core into
// SQLite fail as if SQLite had answered them with an error, the way SQLite's own test harness
// fails its Nth I/O operation.
//
// The calls it counts are those that run SQL: the preparation of a Statement, each of its
// steps, and each Database::executeRaw (BEGIN and COMMIT of a Transaction among them). They are
// numbered from 1 from the moment counting starts. A call chosen to fail does not reach SQLite;
// it throws what throwSqliteError makes of the result code and SQLite's text for it, so that
// SQLITE_BUSY and SQLITE_LOCKED arrive as Recoverable and every other code as
// DatabaseException, exactly as a real failure of that call would.
//
// Off unless a test switches it on; then the core pays one relaxed atomic load per call. The
// counter itself is atomic, so the calls of any thread are numbered; start and stop while no
// catalogue work runs.
class FaultInjection {
public:
    FaultInjection() = delete;

    // Numbers the calls from now on, from 1, and fails none of them.
    static void startCounting();
    // Numbers the calls from now on, from 1, and fails calls first .. first + count - 1 with
    // resultCode, a primary or an extended SQLite result code (SQLITE_IOERR_WRITE answers as
    // the primary SQLITE_IOERR with its extended code). A busy catalogue that outlasts the
    // retried transaction is as many failing calls in a row as the frame has tries.
    static void failCalls(long first, int resultCode, long count = 1);
    // Neither numbers nor fails any call from now on; the counts stay until the next start.
    static void stop();

    // Calls numbered since the last start, failed ones included.
    static long callCount();
    // Calls failed since the last start.
    static long failedCount();

    // For the core, before each call: 0 where the call goes to SQLite, otherwise the result
    // code with which it fails.
    static int injectedResult() { return sActive.load(std::memory_order_relaxed) ? nextCall() : 0; }

private:
    static int nextCall();

    static std::atomic<bool> sActive;
};

} // namespace qzdb
