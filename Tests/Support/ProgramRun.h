#pragma once

#include "Zel/Exception.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <utility>

namespace Zel::Tests::Support
{

/// A program that runs as a child, with what it writes. Failures throw `Exception`.
class ProgramRun
{
public:
    enum class Output
    {
        Pipes,
        /// One pseudo terminal of 60 columns for all three streams; what is written is kept in `GetOut`.
        Terminal
    };

    /// Starts a program, with "NAME=value" for its environment before its path in `arguments`. `input`, at
    /// most 64 KiB, is what it can read where it has no terminal. `serve` is called again and again while the
    /// program is waited for.
    explicit ProgramRun(
        std::vector<String> arguments, Output output = Output::Pipes, const String& input = {},
        std::function<void()> serve = [] {})
        : serve(std::move(serve))
    {
        String program = "/usr/bin/env";
        std::vector<char*> words = {program.data()};
        std::ranges::transform(arguments, std::back_inserter(words),
                               [](String& word) { return word.data(); });
        words.push_back(nullptr);
        std::array<std::array<int, 2>, 3> pipes{};
        std::ranges::for_each(pipes, [](auto& ends) { Check(pipe2(ends.data(), O_CLOEXEC), "make a pipe"); });
        const winsize size{24, 60, 0, 0};
        int terminal = -1;
        process =
            Check(output == Output::Terminal ? forkpty(&terminal, nullptr, nullptr, &size) : fork(), "fork");
        if (process == 0)
        {
            for (std::size_t stream = 0; stream < pipes.size() && output == Output::Pipes; ++stream)
            {
                dup2(pipes[stream][stream == 0 ? 0 : 1], static_cast<int>(stream));
            }
            execv(words.front(), words.data());
            _exit(127);
        }
        Check(write(pipes[0][1], input.data(), input.size()), "fill a pipe");
        std::ranges::for_each(std::array{pipes[0][0], pipes[0][1], pipes[1][1], pipes[2][1]}, close);
        streams = {{{terminal, POLLIN, 0}, {pipes[1][0], POLLIN, 0}, {pipes[2][0], POLLIN, 0}}};
    }

    /// Kills the program when it still runs.
    ~ProgramRun()
    {
        std::ranges::for_each(streams, close, &pollfd::fd);
        if (process > 0)
        {
            kill(process, SIGKILL);
            waitpid(process, nullptr, 0);
        }
    }

    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    /// Types on the terminal.
    void Type(const String& text) const
    {
        Check(write(streams.front().fd, text.data(), text.size()), "type");
    }

    void Signal(int signalNumber) const { Check(kill(process, signalNumber), "send a signal"); }

    /// Reads until the program shows `text` behind the one of the last time. Throws with the output so far
    /// when it ends before, or that takes more than 30 s.
    void Await(const String& text)
    {
        ReadUntil([&] { return written.find(text, position) != String::npos; });
        position = written.find(text, position) + text.size();
    }

    /// Reads what the program writes until it has ended. Returns the exit code, or 128 and the number of the
    /// signal that ended it. Throws with the output so far when that takes more than 30 s.
    int Finish()
    {
        ReadUntil([this] { return HasEnded(); });
        int result = 0;
        Check(waitpid(std::exchange(process, -1), &result, 0), "wait for the program");
        return WIFSIGNALED(result) ? 128 + WTERMSIG(result) : WEXITSTATUS(result);
    }

    [[nodiscard]] const String& GetOut() const noexcept { return out; }

    [[nodiscard]] const String& GetErr() const noexcept { return err; }

private:
    static int Check(ssize_t result, const char* action)
    {
        return result >= 0
                   ? static_cast<int>(result)
                   : throw Exception(String("Failed to ") + action + ": errno " + std::to_string(errno));
    }

    [[nodiscard]] bool HasEnded() const
    {
        return std::ranges::all_of(streams, [](const pollfd& stream) { return stream.fd < 0; });
    }

    void ReadUntil(const std::function<bool()>& condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!condition())
        {
            if (HasEnded() || std::chrono::steady_clock::now() > deadline)
            {
                throw Exception("The program does not do what is waited for. It wrote:\n" + written);
            }
            serve();
            poll(streams.data(), streams.size(), 1);
            std::ranges::for_each(streams, [this](pollfd& stream) { Read(stream); });
        }
    }

    void Read(pollfd& stream)
    {
        if (stream.fd < 0 || stream.revents == 0)
        {
            return;
        }
        std::array<char, 4096> buffer{};
        const ssize_t count = read(stream.fd, buffer.data(), buffer.size());
        const String text(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        (&stream == &streams.back() ? err : out) += text;
        written += text;
        // A terminal whose other end is closed gives an error instead of the end.
        if (count <= 0)
        {
            close(std::exchange(stream.fd, -1));
        }
    }

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
