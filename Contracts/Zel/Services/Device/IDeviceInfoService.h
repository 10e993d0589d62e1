#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/FixedString.h"
#include "Zel/System/Rsc/IService.h"
#include "Zel/Variant.h"
#include "Zel/Visibility.h"

namespace Zel::Services::Device
{

/// Facts about the device by key, for example "General.ArticleName". Thread-safe.
class ZEL_API IDeviceInfoService : public System::Rsc::IService
{
public:
    inline static const String InterfaceName = "IDeviceInfoService";

    using Key = System::Commons::FixedString<512>;

    ~IDeviceInfoService() override;

    /// Returns the fact, or a value of the none type when it is not available.
    [[nodiscard]] virtual Variant GetItem(const Key& key) = 0;
};

} // namespace Zel::Services::Device
