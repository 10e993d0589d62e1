#include "Support/ProgramRun.h"

#include "Zel/Exception.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds Limit{30};

int Check(int result, const char* action)
{
    if (result < 0)
    {
        throw Exception(String("Failed to ") + action + ": errno " + std::to_string(errno));
    }
    return result;
}

std::vector<char*> ToPointers(std::vector<String>& texts)
{
    std::vector<char*> pointers;
    std::transform(texts.begin(), texts.end(), std::back_inserter(pointers),
                   [](String& text) { return text.data(); });
    pointers.push_back(nullptr);
    return pointers;
}

[[noreturn]] void Execute(const std::vector<char*>& arguments, const std::vector<char*>& environment)
{
    execve(arguments.front(), arguments.data(), environment.data());
    _exit(127);
}

} // namespace

ProgramRun::ProgramRun(const std::vector<String>& arguments, Output output,
                       const std::vector<String>& environment)
{
    std::vector<String> argumentTexts = arguments;
    std::vector<String> variables = environment;
    for (char** variable = environ; *variable != nullptr; ++variable)
    {
        variables.emplace_back(*variable);
    }
    const std::vector<char*> argumentPointers = ToPointers(argumentTexts);
    const std::vector<char*> variablePointers = ToPointers(variables);
    output == Output::Terminal ? StartOnTerminal(argumentPointers, variablePointers)
                               : StartOnPipes(argumentPointers, variablePointers);
}

ProgramRun::~ProgramRun()
{
    for (const Stream& stream : streams)
    {
        close(stream.descriptor);
    }
    if (process > 0)
    {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
}

void ProgramRun::StartOnPipes(const std::vector<char*>& arguments, const std::vector<char*>& environment)
{
    std::array<int, 2> outPipe{};
    std::array<int, 2> errPipe{};
    Check(pipe2(outPipe.data(), O_CLOEXEC), "make a pipe");
    Check(pipe2(errPipe.data(), O_CLOEXEC), "make a pipe");
    process = Check(fork(), "fork");
    if (process == 0)
    {
        dup2(outPipe[1], STDOUT_FILENO);
        dup2(errPipe[1], STDERR_FILENO);
        Execute(arguments, environment);
    }
    close(outPipe[1]);
    close(errPipe[1]);
    streams = {{outPipe[0], &out}, {errPipe[0], &err}};
}

void ProgramRun::StartOnTerminal(const std::vector<char*>& arguments, const std::vector<char*>& environment)
{
    winsize size{};
    size.ws_col = 60;
    size.ws_row = 24;
    int terminal = -1;
    process = Check(forkpty(&terminal, nullptr, nullptr, &size), "fork on a terminal");
    if (process == 0)
    {
        Execute(arguments, environment);
    }
    streams.push_back({terminal, &out});
}

void ProgramRun::When(String text, std::function<void()> action)
{
    actions.push_back({std::move(text), std::move(action)});
}

void ProgramRun::Signal(int signalNumber) const
{
    Check(kill(process, signalNumber), "send a signal");
}

void ProgramRun::Finish(const std::function<pollfd()>& server, const std::function<void()>& serve)
{
    const auto deadline = Clock::now() + Limit;
    while (!streams.empty())
    {
        std::vector<pollfd> inputs = {server()};
        for (const Stream& stream : streams)
        {
            inputs.push_back({stream.descriptor, POLLIN, 0});
        }
        poll(inputs.data(), inputs.size(), 1000);
        for (std::size_t index = streams.size(); index-- > 0;)
        {
            Read(streams[index], inputs[index + 1].revents);
        }
        std::erase_if(streams, [](const Stream& stream) { return stream.descriptor < 0; });
        serve();
        RunActions();
        if (Clock::now() > deadline)
        {
            throw Exception("The program does not end. It wrote:\n" + out + err);
        }
    }
    Wait();
}

void ProgramRun::Read(Stream& stream, short events)
{
    std::array<char, 4096> buffer{};
    if (events == 0)
    {
        return;
    }
    // A terminal whose other end is closed gives an error instead of the end.
    const ssize_t count = read(stream.descriptor, buffer.data(), buffer.size());
    if (count <= 0)
    {
        close(std::exchange(stream.descriptor, -1));
        return;
    }
    stream.text->append(buffer.data(), static_cast<std::size_t>(count));
}

void ProgramRun::RunActions()
{
    for (Action& candidate : actions)
    {
        if (candidate.action && out.find(candidate.text) != String::npos)
        {
            std::exchange(candidate.action, nullptr)();
        }
    }
}

void ProgramRun::Wait()
{
    int result = 0;
    Check(waitpid(std::exchange(process, -1), &result, 0), "wait for the program");
    status = WIFSIGNALED(result) ? 128 + WTERMSIG(result) : WEXITSTATUS(result);
}

} // namespace Zel::Tests::Support
