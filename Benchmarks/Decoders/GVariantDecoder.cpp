#include "Decoders/Decoders.h"

#include <glib.h>

#include <memory>

namespace Zel::Benchmarks
{

namespace
{

using Owned = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

[[nodiscard]] GVariant* MakeValue(const String& value)
{
    return g_variant_new_string(value.c_str());
}

[[nodiscard]] GVariant* MakeValue(std::uint32_t value)
{
    return g_variant_new_uint32(value);
}

[[nodiscard]] GVariant* MakeValue(std::uint64_t value)
{
    return g_variant_new_uint64(value);
}

/// The arguments as bytes, as they would have arrived.
[[nodiscard]] GBytes* MakeBytes(const SlotRecords& slots)
{
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE("a(sa{sv})"));
    for (const auto& [name, slot] : slots)
    {
        GVariantBuilder entries;
        g_variant_builder_init(&entries, G_VARIANT_TYPE("a{sv}"));
        for (const auto& key : SlotRecordKey::All)
        {
            std::visit([&](auto member)
                       { g_variant_builder_add(&entries, "{sv}", key.name, MakeValue(slot.*member)); },
                       key.member);
        }
        g_variant_builder_add(&list, "(sa{sv})", name.c_str(), &entries);
    }
    const Owned arguments(g_variant_ref_sink(g_variant_new("(a(sa{sv}))", &list)), &g_variant_unref);
    return g_variant_get_data_as_bytes(arguments.get());
}

void ReadValue(const char* key, GVariant* value, SlotRecord& slot)
{
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING))
    {
        slot.Set(key, g_variant_get_string(value, nullptr));
    }
    else if (g_variant_is_of_type(value, G_VARIANT_TYPE_UINT32))
    {
        slot.Set(key, std::uint32_t{g_variant_get_uint32(value)});
    }
    else if (g_variant_is_of_type(value, G_VARIANT_TYPE_UINT64))
    {
        slot.Set(key, std::uint64_t{g_variant_get_uint64(value)});
    }
}

[[nodiscard]] SlotRecords Read(GBytes* bytes)
{
    SlotRecords records;
    const Owned arguments(
        g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE("(a(sa{sv}))"), bytes, FALSE)),
        &g_variant_unref);
    GVariantIter* slots = nullptr;
    g_variant_get(arguments.get(), "(a(sa{sv}))", &slots);
    const char* name = nullptr;
    GVariantIter* entries = nullptr;
    while (g_variant_iter_loop(slots, "(&sa{sv})", &name, &entries))
    {
        SlotRecord slot;
        const char* key = nullptr;
        GVariant* value = nullptr;
        while (g_variant_iter_loop(entries, "{&sv}", &key, &value))
        {
            ReadValue(key, value, slot);
        }
        records.emplace(name, std::move(slot));
    }
    g_variant_iter_free(slots);
    return records;
}

} // namespace

Decoder MakeGVariantDecoder(const SlotRecords& slots)
{
    const std::shared_ptr<GBytes> bytes(MakeBytes(slots), &g_bytes_unref);
    return [bytes] { return Read(bytes.get()); };
}

} // namespace Zel::Benchmarks
