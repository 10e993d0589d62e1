#include "Cli/Application.h"

#include <iostream>

int main(int argc, char** argv)
{
    const std::vector<Zel::String> arguments(argv + 1, argv + argc);
    return Zel::Host::Cli::Application::Run(arguments, std::cout, std::cerr,
                                            Zel::Host::Cli::Terminal::Detect());
}
