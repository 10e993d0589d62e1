#pragma once

#include "Zel/String.h"

#include <poll.h>
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
        /// One pseudo terminal of 60 columns for both streams, kept in `GetOut`.
        Terminal
    };

    /// Starts `arguments[0]`; `environment` adds "NAME=value" to the process's own. Throws `Exception`.
    explicit ProgramRun(const std::vector<String>& arguments, Output output = Output::Pipes,
                        const std::vector<String>& environment = {});
    /// Kills the program when it still runs.
    ~ProgramRun();
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    /// Calls `action` once, as soon as standard output holds `text`.
    void When(String text, std::function<void()> action);

    void Signal(int signalNumber) const;

    /// Reads what the program writes until it has ended. `server` is polled meanwhile, and `serve` called
    /// after each wait. Throws `Exception` with the output so far when that takes more than 30 s.
    void Finish(const std::function<pollfd()>& server, const std::function<void()>& serve);

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

    void StartOnPipes(const std::vector<char*>& arguments, const std::vector<char*>& environment);
    void StartOnTerminal(const std::vector<char*>& arguments, const std::vector<char*>& environment);
    void Read(Stream& stream, short events);
    void RunActions();
    void Wait();

    struct Action
    {
        String text;
        std::function<void()> action;
    };

    String out;
    String err;
    std::vector<Stream> streams;
    std::vector<Action> actions;
    pid_t process = -1;
    int status = -1;
};

} // namespace Zel::Tests::Support
