#pragma once

#include "Zel/String.h"

#include <poll.h>
#include <sys/types.h>

#include <array>
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
    /// is what it can read where it has no terminal. `serve` is called again and again while the program is
    /// waited for. Throws `Exception`.
    explicit ProgramRun(
        std::vector<String> arguments, Output output = Output::Pipes,
        const std::vector<String>& environment = {}, const String& input = {},
        std::function<void()> serve = [] {});
    /// Kills the program when it still runs.
    ~ProgramRun();
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    /// Types on the terminal.
    void Type(const String& text) const;

    void Signal(int signalNumber) const;

    /// Reads until the program shows `text` behind the one of the last time. Throws `Exception` with the
    /// output so far when it ends before, or that takes more than 30 s.
    void Await(const String& text);

    /// Reads what the program writes until it has ended. Returns the exit code, or 128 and the number of the
    /// signal that ended it. Throws `Exception` with the output so far when that takes more than 30 s.
    int Finish();

    [[nodiscard]] const String& GetOut() const noexcept { return out; }

    [[nodiscard]] const String& GetErr() const noexcept { return err; }

private:
    void Read(pollfd& stream);
    void ReadUntil(const std::function<bool()>& condition);
    [[nodiscard]] bool HasEnded() const;

    const std::function<void()> serve;
    String out;
    String err;
    /// Both, as they came, and where to look for the next text.
    String written;
    std::size_t position = 0;
    /// The terminal, standard output and standard error; -1 for what is not there.
    std::array<pollfd, 3> streams{};
    pid_t process = -1;
};

} // namespace Zel::Tests::Support
