#pragma once

#include <functional>
#include <string>
#include <vector>

struct sqlite3;

// Hooks into the SQLite library that libqzlogger brought into the process. The test programs
// are not linked against SQLite themselves, so its functions are looked up by name at run time.
namespace SqliteHooks {

// Runs `action` and returns the text of every statement that the connection started meanwhile,
// in order, as it was prepared (before parameters are bound). Statements of triggers are left
// out.
std::vector<std::string> traceStatements(sqlite3* handle, const std::function<void()>& action);

// Makes the SQL function `name` without arguments return `text` on this connection. A function
// of SQLite's own with that name, such as sqlite_version(), is overridden.
bool overrideFunction(sqlite3* handle, const std::string& name, const std::string& text);

} // namespace SqliteHooks
