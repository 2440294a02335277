#pragma once

#include <tavix/backend.h>

namespace TavixSim {

// The simulated world as one of the factory's backends.
class CSimBackend : public Tavix::ABackend
{
public:
    std::string name() const override { return "sim"; }
    std::vector<Tavix::CTlInfo> layerInfos() override;
    Tavix::ITransportLayer* createLayer(const Tavix::CTlInfo& info) override;
    void listDevices(Tavix::DeviceInfoList& list, const Tavix::DeviceMatch& match) override;
    Tavix::ITavixDevice* createDevice(const Tavix::DeviceMatch& match) override;
};

Tavix::ABackend* simBackend();

} // namespace TavixSim
