// Opening and closing a database, its reader diagnostics, evaluation contexts.
#include <new>

#include "capi/Handles.h"
#include "tdb/TdbReader.h"

extern "C" {

int tk_database_open(const char* path, int flags, tk_database** db)
{
    if (db == nullptr) return TK_ERROR_ARGUMENT;
    *db = nullptr;
    tk_database* handle = new (std::nothrow) tk_database;
    if (handle == nullptr) return TK_ERROR_INTERNAL;
    *db = handle;
    if (path == nullptr) {
        handle->message = "no database path given";
        return TK_ERROR_ARGUMENT;
    }
    try {
        auto loaded = std::make_unique<ThermDatabase>();
        tdb::ReadReport report;
        const bool usable = tdb::readTdbFile(path, *loaded, report);
        for (const tdb::Diagnostic& d : report.diagnostics) {
            handle->diagnostics.push_back(d.format());
            handle->diagnosticIsError.push_back(d.severity == tdb::Diagnostic::Severity::Error ? 1 : 0);
        }
        if (!usable) {
            handle->message = std::string("cannot read database ") + path + "; expected a readable TDB file";
            if (!handle->diagnostics.empty()) handle->message += " (" + handle->diagnostics.front() + ")";
            return TK_ERROR_FILE;
        }
        if ((flags & TK_OPEN_STRICT) && report.errorCount() > 0) {
            for (size_t i = 0; i < handle->diagnostics.size(); ++i)
                if (handle->diagnosticIsError[i]) {
                    handle->message = handle->diagnostics[i];
                    break;
                }
            handle->message += " (" + report.summary() + ")";
            return TK_ERROR_FILE;
        }
        handle->db = std::move(loaded);
        return TK_OK;
    } catch (const std::bad_alloc&) {
        handle->message = "out of memory reading " + std::string(path);
        return TK_ERROR_INTERNAL;
    } catch (const std::exception& e) {
        handle->message = std::string("reading ") + path + " failed: " + e.what();
        return TK_ERROR_INTERNAL;
    }
}

int tk_database_close(tk_database* db)
{
    delete db;
    return TK_OK;
}

const char* tk_database_message(const tk_database* db)
{
    return db == nullptr ? "no database handle (out of memory or a null argument)" : db->message.c_str();
}

int tk_database_diagnostic_count(const tk_database* db, int* count)
{
    if (db == nullptr || count == nullptr) return TK_ERROR_ARGUMENT;
    *count = static_cast<int>(db->diagnostics.size());
    return TK_OK;
}

int tk_database_diagnostic(const tk_database* db, int index, int* is_error, const char** text)
{
    if (db == nullptr || index < 0 || index >= static_cast<int>(db->diagnostics.size())) return TK_ERROR_ARGUMENT;
    if (is_error != nullptr) *is_error = db->diagnosticIsError[static_cast<size_t>(index)];
    if (text != nullptr) *text = db->diagnostics[static_cast<size_t>(index)].c_str();
    return TK_OK;
}

int tk_context_create(tk_database* db, tk_context** ctx)
{
    if (ctx == nullptr) return TK_ERROR_ARGUMENT;
    *ctx = nullptr;
    if (db == nullptr || db->db == nullptr) return TK_ERROR_ARGUMENT;
    tk_context* made = new (std::nothrow) tk_context;
    if (made == nullptr) return TK_ERROR_INTERNAL;
    made->handle = db;
    *ctx = made;
    return TK_OK;
}

int tk_context_free(tk_context* ctx)
{
    delete ctx;
    return TK_OK;
}

const char* tk_context_message(const tk_context* ctx)
{
    return ctx == nullptr ? "no context handle" : ctx->message.c_str();
}

}  // extern "C"
