#pragma once

namespace Zel
{

/// A static object that is never destroyed, so that it can be used to the process's very end, also by
/// destructors of other static objects: `static Immortal<Registry> registry;`.
template <typename T>
class Immortal
{
public:
    Immortal() : object() {}

    // Not defaulted: a union's member is destroyed by nobody but whoever says so.
    ~Immortal() {}

    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;

    [[nodiscard]] T& Get() noexcept { return object; }

private:
    union
    {
        T object;
    };
};

} // namespace Zel
