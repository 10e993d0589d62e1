#include "Program.h"

#include "Zel/Exception.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace Zel::Benchmarks
{

namespace
{

/// Where a program's outputs go.
class Outputs
{
public:
    explicit Outputs(int standardOutput)
    {
        posix_spawn_file_actions_init(&actions);
        if (standardOutput >= 0)
        {
            posix_spawn_file_actions_adddup2(&actions, standardOutput, STDOUT_FILENO);
        }
        else
        {
            posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        }
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }

    ~Outputs() { posix_spawn_file_actions_destroy(&actions); }

    Outputs(const Outputs&) = delete;
    Outputs& operator=(const Outputs&) = delete;

    [[nodiscard]] const posix_spawn_file_actions_t* Get() const noexcept { return &actions; }

private:
    posix_spawn_file_actions_t actions{};
};

[[noreturn]] void Fail(const std::vector<String>& arguments, const String& reason)
{
    String command;
    for (const auto& argument : arguments)
    {
        command += argument + " ";
    }
    throw Exception(command + reason);
}

[[nodiscard]] pid_t Start(std::vector<String> arguments, int standardOutput)
{
    std::vector<char*> pointers;
    for (auto& argument : arguments)
    {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    const Outputs outputs(standardOutput);
    pid_t process = -1;
    if (posix_spawnp(&process, pointers[0], outputs.Get(), nullptr, pointers.data(), environ) != 0)
    {
        Fail(arguments, "could not be started");
    }
    return process;
}

void Finish(const std::vector<String>& arguments, pid_t process)
{
    int status = 0;
    waitpid(process, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    {
        Fail(arguments, "failed");
    }
}

} // namespace

void RunProgram(const std::vector<String>& arguments)
{
    Finish(arguments, Start(arguments, -1));
}

String ReadProgram(const std::vector<String>& arguments)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        Fail(arguments, "got no pipe");
    }
    const pid_t process = Start(arguments, ends[1]);
    close(ends[1]);
    auto output = ReadAll(ends[0]);
    close(ends[0]);
    Finish(arguments, process);
    return output;
}

String ReadAll(int descriptor)
{
    String text;
    std::array<char, 4096> buffer{};
    for (ssize_t count = 0; (count = read(descriptor, buffer.data(), buffer.size())) > 0;)
    {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return text;
}

} // namespace Zel::Benchmarks
