#pragma once

#include "Zel/Exception.h"
#include "Zel/Singleton.h"
#include "Zel/String.h"
#include "Zel/TypeName.h"
#include "Zel/Visibility.h"

#include <map>
#include <memory>
#include <mutex>
#include <typeinfo>
#include <utility>

namespace Zel
{

/// What the libraries of one process share: its name, its path variables and its registry of shared objects.
/// The process creates one, announces it as `Singleton<AppDomain>` and keeps it to its end. Thread-safe.
class ZEL_API AppDomain
{
public:
    /// `name` is the process's name in logs, for example "zel-updated".
    explicit AppDomain(String name);
    ~AppDomain();
    AppDomain(const AppDomain&) = delete;
    AppDomain& operator=(const AppDomain&) = delete;

    [[nodiscard]] const String& GetName() const noexcept;

    /// Defines what "${NAME}" stands for in paths of settings documents; a later definition replaces an
    /// earlier one.
    void SetPathVariable(const String& variableName, const String& value);

    /// Returns whether the variable is defined; `value` is written only then.
    [[nodiscard]] bool TryGetPathVariable(const String& variableName, String& value) const;

    /// Registers the process's one `T`; null takes it back.
    template <typename T>
    void SetSingleton(std::shared_ptr<T> instance)
    {
        SetShared(typeid(T), std::move(instance));
    }

    /// Throws `Exception` "AppDomain Singleton instance of type '{0}' was not created yet!" when there is
    /// none.
    template <typename T>
    [[nodiscard]] std::shared_ptr<T> GetSingleton() const
    {
        if (auto instance = std::static_pointer_cast<T>(GetShared(typeid(T))))
        {
            return instance;
        }
        throw Exception("AppDomain Singleton instance of type '" + TypeName<T>() + "' was not created yet!");
    }

private:
    void SetShared(const std::type_info& type, std::shared_ptr<void> instance);
    [[nodiscard]] std::shared_ptr<void> GetShared(const std::type_info& type) const;

    const String name;
    mutable std::mutex mutex;
    std::map<String, String> pathVariables;
    // By the type's name: std::type_index would point into the library that registered the type.
    std::map<String, std::shared_ptr<void>> singletons;
};

} // namespace Zel
