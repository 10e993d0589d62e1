#pragma once

#include "Service/BusConnection.h"

#include "Zel/String.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace Zel::Host::Service
{

/// What RAUC says of a bundle.
struct RaucBundle
{
    String version;
    String compatible;
};

/// What RAUC says of a slot: its texts by their keys, for example "state" and "boot-status".
struct RaucSlot
{
    String name;
    std::map<String, String> texts;

    /// Returns an empty text for a key that the slot does not have.
    [[nodiscard]] String GetText(const String& key) const;
};

/// RAUC's answers to questions that change nothing. Used on the loop's thread; the connection outlives it.
class RaucClient
{
public:
    inline static const String BusName = "de.pengutronix.rauc";
    /// How long an answer is waited for, and that about a bundle, which RAUC reads as a whole.
    static constexpr std::chrono::seconds AnswerTime{10};
    static constexpr std::chrono::minutes BundleTime{10};

    using AnswerHandler = BusConnection::AnswerHandler;
    /// Nothing where RAUC does not tell; `answer` says why.
    using BundleHandler =
        std::function<void(const std::optional<RaucBundle>& bundle, const BusAnswer& answer)>;
    /// No slots where RAUC does not tell.
    using SlotsHandler = std::function<void(const std::vector<RaucSlot>& slots)>;

    explicit RaucClient(BusConnection& connection);

    /// Asks which slot is booted next.
    void GetPrimary(AnswerHandler handler);
    /// Asks for a property of type text.
    void GetText(const String& property, AnswerHandler handler);
    void GetBundle(const String& path, BundleHandler handler);
    void GetSlots(SlotsHandler handler);

    /// Returns the slot that the device runs from; null where none of `slots` is it.
    [[nodiscard]] static const RaucSlot* FindBooted(const std::vector<RaucSlot>& slots);

private:
    BusConnection& connection;
};

} // namespace Zel::Host::Service
