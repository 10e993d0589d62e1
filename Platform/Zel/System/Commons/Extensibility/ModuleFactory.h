#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/ArgumentException.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace Zel::System::Commons::Extensibility
{

/// The modules that a library offers, by name: an ordered list of pairs of a name, compared byte for byte,
/// and a function that creates a new module.
template <typename Module>
class ModuleFactory
{
public:
    using FactoryFunction = std::function<std::unique_ptr<Module>()>;

    virtual ~ModuleFactory() = default;

    /// Appends a module. Throws `ArgumentException` and changes nothing for an empty name, then for an empty
    /// function, then for a name that is in the list.
    void AddFactoryFunction(const String& moduleName, FactoryFunction function)
    {
        if (moduleName.empty())
        {
            throw ArgumentException("moduleName", "Invalid module name");
        }
        if (!function)
        {
            // The full stop is meant: only this one of the three messages has it.
            throw ArgumentException("function", "Invalid factory function.");
        }
        if (Find(moduleName) != entries.end())
        {
            throw ArgumentException("moduleName", "Duplicate module name");
        }
        entries.emplace_back(moduleName, std::move(function));
    }

    /// Returns a new module, or null when the name is not in the list. Exceptions of the module's constructor
    /// pass.
    [[nodiscard]] std::unique_ptr<Module> CreateModule(const String& moduleName) const
    {
        const auto found = Find(moduleName);
        return found == entries.end() ? nullptr : found->second();
    }

    /// Returns the names in the order in which they were added.
    [[nodiscard]] std::vector<String> GetModuleNames() const
    {
        std::vector<String> names;
        for (const auto& entry : entries)
        {
            names.push_back(entry.first);
        }
        return names;
    }

private:
    using Entry = std::pair<String, FactoryFunction>;

    [[nodiscard]] typename std::vector<Entry>::const_iterator Find(const String& moduleName) const
    {
        return std::find_if(entries.begin(), entries.end(),
                            [&](const Entry& entry) { return entry.first == moduleName; });
    }

    std::vector<Entry> entries;
};

} // namespace Zel::System::Commons::Extensibility
