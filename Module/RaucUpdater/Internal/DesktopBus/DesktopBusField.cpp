#include "RaucUpdater/Internal/DesktopBus/DesktopBusField.h"

#include "Zel/System/Core/Format.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Core::Format;

void DesktopBusField::SetArray(Fields elements, String elementSignature)
{
    Set(ArrayType, std::move(elements));
    contentSignature = std::move(elementSignature);
}

void DesktopBusField::SetVariant(DesktopBusField contained, String containedSignature)
{
    Fields content;
    content.push_back(std::move(contained));
    Set(VariantType, std::move(content));
    contentSignature = std::move(containedSignature);
}

bool DesktopBusField::TryGetVariant(DesktopBusField& contained) const
{
    const auto* stored = PeekVariant();
    if (stored == nullptr)
    {
        return false;
    }
    // By way of a copy, since the argument may be the field that holds the variant.
    contained = DesktopBusField(*stored);
    return true;
}

DesktopBusField DesktopBusField::GetVariant() const
{
    const auto* stored = PeekVariant();
    return stored != nullptr ? *stored : DesktopBusField();
}

const DesktopBusField* DesktopBusField::PeekVariant() const noexcept
{
    const auto* content = Peek<Fields>(VariantType);
    return content != nullptr && !content->empty() ? &content->front() : nullptr;
}

std::span<const DesktopBusField> DesktopBusField::GetContents() const noexcept
{
    const auto* contents = type != NoType ? std::get_if<Fields>(&value) : nullptr;
    return contents != nullptr ? std::span<const DesktopBusField>(*contents)
                               : std::span<const DesktopBusField>();
}

String DesktopBusField::ToString() const
{
    const auto [typeName, valueText] = DescribeTypeAndValue();
    return Format("DesktopBusField=[type={0}({1}); value={2}]", typeName, type, valueText);
}

String DesktopBusField::ToString(std::span<const DesktopBusField> fields)
{
    String text = "[";
    for (const auto& field : fields)
    {
        text += Format("{{{0}}}", field.ToString());
    }
    text += "]";
    return text;
}

std::pair<String, String> DesktopBusField::DescribeTypeAndValue() const
{
    switch (type)
    {
    case ByteType:
        return {"byte", Format("{0}", static_cast<char>(std::get<std::uint8_t>(value)))};
    case BooleanType:
        return {"bool", Format("{0}", std::get<bool>(value))};
    case Int16Type:
        return {"int16", Format("{0}", std::get<std::int16_t>(value))};
    case Uint16Type:
        return {"uint16", Format("{0}", std::get<std::uint16_t>(value))};
    case Int32Type:
        return {"int32", Format("{0}", std::get<std::int32_t>(value))};
    case Uint32Type:
        return {"uint32", Format("{0}", std::get<std::uint32_t>(value))};
    case Int64Type:
        return {"int64", Format("{0}", std::get<std::int64_t>(value))};
    case Uint64Type:
        return {"uint64", Format("{0}", std::get<std::uint64_t>(value))};
    case DoubleType:
        return {"double", Format("{0:g}", std::get<double>(value))};
    case StringType:
        return {"string", Format("\"{0}\"", std::get<String>(value))};
    case ObjectPathType:
        return {"objectpath", Format("\"{0}\"", std::get<String>(value))};
    case SignatureType:
        return {"signature", Format("\"{0}\"", std::get<String>(value))};
    case ArrayType:
        return {"array: " + contentSignature, ToString(std::get<Fields>(value))};
    case StructType:
        return {"struct", ToString(std::get<Fields>(value))};
    case DictEntryType:
        return {"dict", ToString(std::get<Fields>(value))};
    case VariantType:
        return {"variant: " + contentSignature, ToString(std::get<Fields>(value))};
    default:
        return {"UNSUPPORTED TYPE", "<NULL>"};
    }
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
