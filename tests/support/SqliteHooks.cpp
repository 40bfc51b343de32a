#include "SqliteHooks.h"

#include <dlfcn.h>
#include <sqlite3.h>

namespace {

template <typename Function> Function lookUp(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
}

using TraceFunction = int (*)(sqlite3*, unsigned, int (*)(unsigned, void*, void*, void*), void*);
using CreateFunction = int (*)(sqlite3*, const char*, int, int, void*,
                               void (*)(sqlite3_context*, int, sqlite3_value**),
                               void (*)(sqlite3_context*, int, sqlite3_value**), void (*)(sqlite3_context*),
                               void (*)(void*));
using ResultTextFunction = void (*)(sqlite3_context*, const char*, int, void (*)(void*));
using UserDataFunction = void* (*)(sqlite3_context*);

int recordStatement(unsigned mask, void* context, void* /*statement*/, void* text)
{
    if (mask == SQLITE_TRACE_STMT && text != nullptr) {
        const std::string sql = static_cast<const char*>(text);
        if (sql.compare(0, 2, "--") != 0) {
            static_cast<std::vector<std::string>*>(context)->push_back(sql);
        }
    }
    return 0;
}

void returnText(sqlite3_context* context, int /*argc*/, sqlite3_value** /*argv*/)
{
    static const auto userData = lookUp<UserDataFunction>("sqlite3_user_data");
    static const auto resultText = lookUp<ResultTextFunction>("sqlite3_result_text");
    const auto* text = static_cast<const std::string*>(userData(context));
    resultText(context, text->c_str(), static_cast<int>(text->size()), SQLITE_TRANSIENT);
}

void deleteText(void* text)
{
    delete static_cast<std::string*>(text);
}

} // namespace

namespace SqliteHooks {

std::vector<std::string> traceStatements(sqlite3* handle, const std::function<void()>& action)
{
    std::vector<std::string> statements;
    const auto trace = lookUp<TraceFunction>("sqlite3_trace_v2");
    if (trace == nullptr || trace(handle, SQLITE_TRACE_STMT, recordStatement, &statements) != SQLITE_OK) {
        return statements;
    }
    try {
        action();
    } catch (...) {
        trace(handle, 0, nullptr, nullptr);
        throw;
    }
    trace(handle, 0, nullptr, nullptr);
    return statements;
}

bool overrideFunction(sqlite3* handle, const std::string& name, const std::string& text)
{
    const auto create = lookUp<CreateFunction>("sqlite3_create_function_v2");
    if (create == nullptr) {
        return false;
    }
    // SQLite owns the copy from here on and deletes it with deleteText, even when this fails.
    auto* copy = new std::string(text);
    return create(handle, name.c_str(), 0, SQLITE_UTF8, copy, returnText, nullptr, nullptr, deleteText) ==
           SQLITE_OK;
}

} // namespace SqliteHooks
