#pragma once

#include <plugins/optiroster/idevice.h>

namespace Plugin::OptiRoster {

/// A transport layer's interface as a device: it opens, closes and offers its node map.
class IInterface : public IDevice
{
    Q_OBJECT
public:
    using IDevice::IDevice;
};

} // namespace Plugin::OptiRoster
