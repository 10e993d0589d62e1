#pragma once

#include "Zel/String.h"

#include <sys/types.h>

#include <functional>
#include <vector>

namespace Zel::Tests::Support
{

/// A program that runs as a child, with what it writes.
class ProgramRun
{
public:
    enum class Output
    {
        Pipes,
        /// One pseudo terminal of 60 columns for all three streams; what is written is kept in `GetOut`.
        Terminal
    };

    /// Starts `arguments[0]`; `environment` adds "NAME=value" to the process's own. `input`, at most 64 KiB,
    /// is what it can read where it has no terminal. Throws `Exception`.
    explicit ProgramRun(std::vector<String> arguments, Output output = Output::Pipes,
                        std::vector<String> environment = {}, const String& input = {});
    /// Kills the program when it still runs.
    ~ProgramRun();
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    /// Calls `action` once, as soon as standard output holds `text`.
    void When(const String& text, std::function<void()> action);

    /// Types on the terminal.
    void Type(const String& text) const;

    void Signal(int signalNumber) const;

    /// Reads what the program writes until it has ended; `proceed` is called after each piece. Throws
    /// `Exception` with the output so far when that takes more than 30 s.
    void Finish(const std::function<void()>& proceed = {});

    [[nodiscard]] const String& GetOut() const noexcept { return out; }

    [[nodiscard]] const String& GetErr() const noexcept { return err; }

    /// The exit code, or 128 and the number of the signal that ended it.
    [[nodiscard]] int GetStatus() const noexcept { return status; }

private:
    struct Stream
    {
        int descriptor;
        String* text;
    };

    void Read(Stream& stream) const;
    void ReadOnce();

    String out;
    String err;
    std::vector<Stream> streams;
    std::vector<std::pair<String, std::function<void()>>> actions;
    pid_t process = -1;
    int status = -1;
};

} // namespace Zel::Tests::Support
