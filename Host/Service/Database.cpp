#include "Service/Database.h"

#include "Zel/System/Commons/Io/FileDescriptor.h"
#include "Zel/System/Core/Format.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

namespace Zel::Host::Service
{

using System::Commons::Io::FileDescriptor;
using System::Core::Format;

void Database::Close::operator()(sqlite3* closed) const noexcept
{
    sqlite3_close_v2(closed);
}

void Database::Statement::Finalize::operator()(sqlite3_stmt* finalized) const noexcept
{
    sqlite3_finalize(finalized);
}

Database::Database(const String& path) : path(path)
{
    // SQLite would create it as the process's umask says; its side files take the mode of this one.
    static_cast<void>(FileDescriptor::Open(path, O_RDWR | O_CREAT | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    Open();
    Check();
}

void Database::Open()
{
    constexpr int BusyTimeout = 5000; // milliseconds
    sqlite3* opened = nullptr;
    const int result =
        sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    handle.reset(opened);
    if (result != SQLITE_OK)
    {
        Throw("open");
    }
    sqlite3_busy_timeout(opened, BusyTimeout);
    sqlite3_extended_result_codes(opened, 1);
    Execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;");
}

void Database::Check()
{
    Statement check = Prepare("PRAGMA integrity_check(1)");
    if (const String verdict = check.Step() ? check.GetText(0) : "no answer"; verdict != "ok")
    {
        throw UnusableDatabaseException(Format("The database '{0}' is damaged: {1}", path, verdict));
    }
}

Database::Statement Database::Prepare(const char* text)
{
    return Statement(*this, text);
}

void Database::Execute(const char* text)
{
    if (sqlite3_exec(handle.get(), text, nullptr, nullptr, nullptr) != SQLITE_OK)
    {
        Throw("use");
    }
}

void Database::Throw(const char* action) const
{
    constexpr int PrimaryCode = 0xFF;
    const int code = handle ? sqlite3_errcode(handle.get()) & PrimaryCode : SQLITE_NOMEM;
    const char* text = handle ? sqlite3_errmsg(handle.get()) : sqlite3_errstr(code);
    if (code == SQLITE_CORRUPT || code == SQLITE_NOTADB)
    {
        throw UnusableDatabaseException(Format("The database '{0}' is damaged: {1}", path, text));
    }
    const bool full = code == SQLITE_FULL || code == SQLITE_IOERR;
    throw DatabaseException(Format("Failed to {0} the database '{1}': {2}{3}", action, path, text,
                                   full ? " (is its file system full?)" : ""));
}

Database::Statement::Statement(Database& database, const char* text) : database(&database)
{
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(database.handle.get(), text, -1, &prepared, nullptr) != SQLITE_OK)
    {
        database.Throw("read");
    }
    statement.reset(prepared);
}

Database::Statement& Database::Statement::Bind(std::int64_t value)
{
    if (sqlite3_bind_int64(statement.get(), ++bound, value) != SQLITE_OK)
    {
        database->Throw("use");
    }
    return *this;
}

Database::Statement& Database::Statement::Bind(std::string_view value)
{
    // A null pointer would bind NULL instead of an empty text.
    const char* data = value.empty() ? "" : value.data();
    if (sqlite3_bind_text64(statement.get(), ++bound, data, value.size(), SQLITE_TRANSIENT, SQLITE_UTF8) !=
        SQLITE_OK)
    {
        database->Throw("use");
    }
    return *this;
}

bool Database::Statement::Step()
{
    const int result = sqlite3_step(statement.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE)
    {
        database->Throw("use");
    }
    return result == SQLITE_ROW;
}

int Database::Statement::Run()
{
    static_cast<void>(Step());
    return sqlite3_changes(database->handle.get());
}

std::int64_t Database::Statement::GetInteger(int column) const
{
    return sqlite3_column_int64(statement.get(), column);
}

String Database::Statement::GetText(int column) const
{
    const auto* text = static_cast<const char*>(sqlite3_column_blob(statement.get(), column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), column));
    return text == nullptr ? String() : String(text, size);
}

Database::Transaction::Transaction(Database& database) : database(&database)
{
    database.Execute("BEGIN IMMEDIATE");
}

Database::Transaction::~Transaction()
{
    if (database != nullptr)
    {
        // A failure here means that SQLite has taken it back by itself.
        sqlite3_exec(database->handle.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void Database::Transaction::Commit()
{
    database->Execute("COMMIT");
    database = nullptr;
}

} // namespace Zel::Host::Service
