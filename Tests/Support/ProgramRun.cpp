#include "Support/ProgramRun.h"

#include "Zel/Exception.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

int Check(ssize_t result, const char* action)
{
    if (result < 0)
    {
        throw Exception(String("Failed to ") + action + ": errno " + std::to_string(errno));
    }
    return static_cast<int>(result);
}

std::vector<char*> ToPointers(std::vector<String>& texts)
{
    std::vector<char*> pointers;
    for (String& text : texts)
    {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// The two ends of a pipe.
struct Pipe
{
    Pipe() { Check(pipe2(ends.data(), O_CLOEXEC), "make a pipe"); }

    std::array<int, 2> ends{};
};

} // namespace

ProgramRun::ProgramRun(std::vector<String> arguments, Output output, std::vector<String> environment,
                       const String& input)
{
    for (char** variable = environ; *variable != nullptr; ++variable)
    {
        environment.emplace_back(*variable);
    }
    const std::vector<char*> argumentPointers = ToPointers(arguments);
    const std::vector<char*> variablePointers = ToPointers(environment);
    const Pipe inPipe;
    const Pipe outPipe;
    const Pipe errPipe;
    const winsize size{24, 60, 0, 0};
    int terminal = -1;
    process =
        Check(output == Output::Terminal ? forkpty(&terminal, nullptr, nullptr, &size) : fork(), "fork");
    if (process == 0)
    {
        if (output == Output::Pipes)
        {
            dup2(inPipe.ends[0], STDIN_FILENO);
            dup2(outPipe.ends[1], STDOUT_FILENO);
            dup2(errPipe.ends[1], STDERR_FILENO);
        }
        execve(argumentPointers.front(), argumentPointers.data(), variablePointers.data());
        _exit(127);
    }
    Check(write(inPipe.ends[1], input.data(), input.size()), "fill a pipe");
    for (const int end : {inPipe.ends[0], inPipe.ends[1], outPipe.ends[1], errPipe.ends[1]})
    {
        close(end);
    }
    streams = {{terminal, &out}, {outPipe.ends[0], &out}, {errPipe.ends[0], &err}};
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

void ProgramRun::When(const String& text, std::function<void()> action)
{
    actions.emplace_back(text, std::move(action));
}

void ProgramRun::Type(const String& text) const
{
    Check(write(streams.front().descriptor, text.data(), text.size()), "type");
}

void ProgramRun::Signal(int signalNumber) const
{
    Check(kill(process, signalNumber), "send a signal");
}

void ProgramRun::Finish(const std::function<void()>& proceed)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::erase_if(streams, [](const Stream& stream) { return stream.descriptor < 0; });
    while (!streams.empty())
    {
        ReadOnce();
        for (auto& [text, action] : actions)
        {
            if (action && out.find(text) != String::npos)
            {
                std::exchange(action, nullptr)();
            }
        }
        if (proceed)
        {
            proceed();
        }
        if (std::chrono::steady_clock::now() > deadline)
        {
            throw Exception("The program does not end. It wrote:\n" + out + err);
        }
    }
    int result = 0;
    Check(waitpid(std::exchange(process, -1), &result, 0), "wait for the program");
    status = WIFSIGNALED(result) ? 128 + WTERMSIG(result) : WEXITSTATUS(result);
}

void ProgramRun::ReadOnce()
{
    std::vector<pollfd> inputs;
    for (const Stream& stream : streams)
    {
        inputs.push_back({stream.descriptor, POLLIN, 0});
    }
    poll(inputs.data(), inputs.size(), 1000);
    for (std::size_t index = 0; index < inputs.size(); ++index)
    {
        if (inputs[index].revents != 0)
        {
            Read(streams[index]);
        }
    }
    std::erase_if(streams, [](const Stream& stream) { return stream.descriptor < 0; });
}

void ProgramRun::Read(Stream& stream) const
{
    std::array<char, 4096> buffer{};
    const ssize_t count = read(stream.descriptor, buffer.data(), buffer.size());
    stream.text->append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    // A terminal whose other end is closed gives an error instead of the end.
    if (count <= 0)
    {
        close(std::exchange(stream.descriptor, -1));
    }
}

} // namespace Zel::Tests::Support
