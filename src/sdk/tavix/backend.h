#pragma once

#include <tavix/transportlayer.h>

#include <functional>
#include <string>
#include <vector>

namespace Tavix {

using DeviceMatch = std::function<bool(const CDeviceInfo&)>;

// One world of cameras behind the factory: the simulated one, or a library that reaches real
// cameras. The factory asks each active backend in turn; the application never sees them.
class ABackend
{
public:
    virtual ~ABackend() = default;
    virtual std::string name() const = 0;
    virtual std::vector<CTlInfo> layerInfos() = 0;
    // A new layer object when the description names one of this backend's layers, else null.
    virtual ITransportLayer* createLayer(const CTlInfo& info) = 0;
    // Appends the devices the match accepts.
    virtual void listDevices(DeviceInfoList& list, const DeviceMatch& match) = 0;
    // The first device the match accepts, not yet open; null when this backend has none.
    virtual ITavixDevice* createDevice(const DeviceMatch& match) = 0;
};

// The active backends, in the order their layers and devices are listed.
std::vector<ABackend*> activeBackends();

} // namespace Tavix
