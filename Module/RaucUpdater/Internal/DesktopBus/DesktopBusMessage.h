#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusField.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct DBusMessage;
struct DBusMessageIter;

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// Owns one libdbus message and converts its arguments to and from value trees. Moved, never copied; a moved
/// message is unset. No operation throws for bad data. One thread uses a message at a time.
class DesktopBusMessage : private System::Commons::Diagnostics::Logging::Loggable<DesktopBusMessage>
{
public:
    /// A whole message is read up to this number of fields, containers and every depth counted.
    static constexpr unsigned short MaximumFieldCount = 1024;

    /// An unset message.
    DesktopBusMessage() noexcept;

    /// A method call without arguments. Unset when a name or the path is not a valid one, or memory is short.
    DesktopBusMessage(const String& destination, const String& path, const String& interfaceName,
                      const String& method);

    /// Adopts the caller's reference; a null pointer gives an unset message.
    explicit DesktopBusMessage(DBusMessage* message) noexcept;

    /// Gives the reference back.
    virtual ~DesktopBusMessage();
    DesktopBusMessage(const DesktopBusMessage&) = delete;
    DesktopBusMessage& operator=(const DesktopBusMessage&) = delete;
    DesktopBusMessage(DesktopBusMessage&& other) noexcept;
    DesktopBusMessage& operator=(DesktopBusMessage&& other) noexcept;

    /// The message, still owned here; null when unset.
    [[nodiscard]] DBusMessage* Get() const noexcept { return message.get(); }

    [[nodiscard]] bool IsSet() const noexcept { return message != nullptr; }

    /// Whether it is an error reply; false when unset. Likewise the next two.
    [[nodiscard]] bool IsError() const noexcept;
    [[nodiscard]] bool IsMethodReply() const noexcept;
    [[nodiscard]] bool IsSignal() const noexcept;

    [[nodiscard]] bool IsSignal(const String& interfaceName, const String& member) const noexcept;

    /// Returns all arguments in order; none when unset. An argument of an unknown type (logged as warning)
    /// keeps its place as an untyped field, also within a variant. Fields beyond `MaximumFieldCount` are
    /// dropped without a word.
    [[nodiscard]] std::vector<DesktopBusField> ReadFields() const;

    /// Appends the fields as arguments. Writes strings, booleans, arrays, dict entries (in arrays only) and
    /// variants. A field of any other type is logged as warning; at the head of a list it fails the call,
    /// after a written one it is left out. Returns false as well when the message is unset, a text is not
    /// UTF-8 or holds a NUL, or a signature is missing (logged as error), invalid or not that of the
    /// contents (a dict entry's are judged without a word); the message must not be sent then.
    [[nodiscard]] bool WriteFields(const std::vector<DesktopBusField>& fields);

private:
    using Fields = std::vector<DesktopBusField>;
    using FieldSpan = std::span<const DesktopBusField>;
    using IterPtr = std::unique_ptr<DBusMessageIter>;

    struct Unref
    {
        void operator()(DBusMessage* owned) const noexcept;
    };

    /// Returns an iterator at the first value in the container that `parent` stands at, or at the first
    /// argument when it is null; null when there are no arguments.
    [[nodiscard]] IterPtr Enter(const IterPtr& parent) const;
    /// Reads the contents of that container, or the arguments. `signature`, where it is not null, becomes the
    /// signature of the first of them; `count` is the number of fields read so far.
    [[nodiscard]] Fields ReadFields(const IterPtr& parent, String* signature, unsigned short& count) const;
    [[nodiscard]] DesktopBusField ReadField(const IterPtr& parent, const IterPtr& iter, int type,
                                            unsigned short& count) const;
    [[nodiscard]] DesktopBusField ReadFieldContainer(const IterPtr& iter, int type,
                                                     unsigned short& count) const;
    [[nodiscard]] static String GetSignature(const IterPtr& iter);
    [[nodiscard]] static String ReadFieldString(const IterPtr& iter);
    [[nodiscard]] static bool ReadFieldBoolean(const IterPtr& iter);
    [[nodiscard]] static std::uint8_t ReadFieldByte(const IterPtr& iter);
    [[nodiscard]] static std::int16_t ReadFieldInt16(const IterPtr& iter);
    [[nodiscard]] static std::uint16_t ReadFieldUint16(const IterPtr& iter);
    [[nodiscard]] static std::int32_t ReadFieldInt32(const IterPtr& iter);
    [[nodiscard]] static std::uint32_t ReadFieldUint32(const IterPtr& iter);
    [[nodiscard]] static std::int64_t ReadFieldInt64(const IterPtr& iter);
    [[nodiscard]] static std::uint64_t ReadFieldUint64(const IterPtr& iter);
    [[nodiscard]] static double ReadFieldDouble(const IterPtr& iter);

    /// Appends the fields to the container that `iter` writes, or to the message when it is null.
    [[nodiscard]] bool WriteFields(IterPtr& iter, FieldSpan fields);
    /// Returns `result` for a field that is left out.
    [[nodiscard]] bool WriteField(IterPtr& iter, const DesktopBusField& field, bool result);
    [[nodiscard]] static bool WriteFieldBasic(IterPtr& iter, int type, const void* value);
    [[nodiscard]] static bool WriteFieldBoolean(IterPtr& iter, bool value);
    [[nodiscard]] static bool WriteFieldString(IterPtr& iter, const String& value);
    [[nodiscard]] bool WriteFieldArray(IterPtr& iter, const String& contentSignature, FieldSpan elements);
    [[nodiscard]] bool WriteFieldVariant(IterPtr& iter, const String& contentSignature,
                                         const DesktopBusField& contained);
    [[nodiscard]] bool WriteFieldDictEntry(IterPtr& iter, FieldSpan keyAndValue);
    [[nodiscard]] bool WriteFieldComplex(IterPtr& iter, int containerType, const char* signature,
                                         FieldSpan fields);

    std::unique_ptr<DBusMessage, Unref> message;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
