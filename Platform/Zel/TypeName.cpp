#include "Zel/TypeName.h"

#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <vector>

namespace Zel
{

namespace
{

struct FreeDeleter
{
    void operator()(char* text) const noexcept { std::free(text); }
};

} // namespace

String TypeName(const std::type_info& type)
{
    int status = 0;
    const std::unique_ptr<char, FreeDeleter> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status));
    return status == 0 && name ? String(name.get()) : String(type.name());
}

String ShortTypeName(const std::type_info& type)
{
    const String name = TypeName(type);
    String shortName;
    // Where in `shortName` the present name begins, one for each bracket that is open.
    std::vector<std::size_t> starts{0};
    for (std::size_t position = 0; position < name.size(); ++position)
    {
        const char character = name[position];
        if (name.compare(position, 2, "::") == 0)
        {
            shortName.resize(starts.back());
            ++position;
            continue;
        }
        shortName += character;
        if (character == '<' || character == '(')
        {
            starts.push_back(shortName.size());
        }
        else if ((character == '>' || character == ')') && starts.size() > 1)
        {
            starts.pop_back();
        }
        else if (character == ',' || character == ' ')
        {
            starts.back() = shortName.size();
        }
    }
    return shortName;
}

} // namespace Zel
