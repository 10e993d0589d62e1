#pragma once

#include "Zel/Exception.h"
#include "Zel/String.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <type_traits>

struct sqlite3;
struct sqlite3_stmt;

namespace Zel::Host::Service
{

/// A database could not be opened, read or written; the message carries SQLite's text.
class DatabaseException : public Exception
{
public:
    using Exception::Exception;
};

/// The file is no database, is damaged, or holds what this program cannot read.
class UnusableDatabaseException : public DatabaseException
{
public:
    using DatabaseException::DatabaseException;
};

/// One SQLite file: durable at each commit. Not thread-safe. Every failure throws `DatabaseException`.
class Database
{
public:
    /// One statement with its values. Parameters and columns are numbered as they stand in its text, columns
    /// from 0. It must not outlive its database.
    class Statement
    {
    public:
        /// Sets the next parameter.
        Statement& Bind(std::int64_t value);
        Statement& Bind(std::string_view value);

        template <typename Enumerator>

        requires std::is_enum_v<Enumerator> Statement& Bind(Enumerator value)
        {
            return Bind(static_cast<std::int64_t>(value));
        }

        /// Goes to the next row; false behind the last one.
        [[nodiscard]] bool Step();
        /// Runs a statement that gives no rows. Returns how many rows it changed.
        int Run();

        [[nodiscard]] std::int64_t GetInteger(int column) const;
        [[nodiscard]] String GetText(int column) const;

    private:
        friend class Database;

        struct Finalize
        {
            void operator()(sqlite3_stmt* finalized) const noexcept;
        };

        explicit Statement(Database& database, const char* text);

        Database* database;
        std::unique_ptr<sqlite3_stmt, Finalize> statement;
        int bound = 0;
    };

    /// A transaction that is taken back unless it was committed. It holds the write lock from its beginning.
    class Transaction
    {
    public:
        explicit Transaction(Database& database);
        ~Transaction();
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;

        void Commit();

    private:
        Database* database;
    };

    /// Opens the file at `path`, and creates it with mode 0600 where there is none. All of it is checked:
    /// throws `UnusableDatabaseException` for a damaged one.
    explicit Database(const String& path);

    [[nodiscard]] Statement Prepare(const char* text);

    /// Runs statements that give no rows and take no values.
    void Execute(const char* text);

private:
    struct Close
    {
        void operator()(sqlite3* closed) const noexcept;
    };

    void Open();
    void Check();
    [[noreturn]] void Throw(const char* action) const;

    String path;
    std::unique_ptr<sqlite3, Close> handle;
};

} // namespace Zel::Host::Service
