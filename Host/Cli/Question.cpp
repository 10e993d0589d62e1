#include "Cli/Question.h"

#include <unistd.h>

namespace Zel::Host::Cli
{

namespace
{

String ReadLine(const InterruptSignals& interrupts)
{
    constexpr std::size_t LongestLine = 100; // bytes
    String line;
    char byte = '\0';
    while (line.size() < LongestLine)
    {
        interrupts.WaitForInput(STDIN_FILENO);
        if (read(STDIN_FILENO, &byte, 1) != 1 || byte == '\n')
        {
            break;
        }
        line += byte;
    }
    return line;
}

} // namespace

bool AskOperator(Output& output, const InterruptSignals& interrupts, const String& question)
{
    output.WriteQuestion(question + " [y/N]");
    const String answer = ToLower(ReadLine(interrupts));
    return answer == "y" || answer == "yes";
}

} // namespace Zel::Host::Cli
