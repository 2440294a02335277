#include <tavix/sim/simbackend.h>
#include <tavix/sim/simdevice.h>
#include <tavix/sim/simtransportlayer.h>
#include <tavix/sim/world.h>

namespace TavixSim {

std::vector<Tavix::CTlInfo> CSimBackend::layerInfos()
{
    return CWorld::instance().layerInfos();
}

Tavix::ITransportLayer* CSimBackend::createLayer(const Tavix::CTlInfo& info)
{
    const std::string fullName = info.GetFullName().toStdString();
    CWorld::instance().checkFault({fullName, info.GetDeviceClass().toStdString()}, "CreateTl");
    Tavix::CTlInfo known;
    bool gige = false;
    if (!CWorld::instance().layerInfo(fullName, known, gige))
        return nullptr;
    CWorld::instance().countCall("CreateTl:" + fullName);
    if (gige)
        return new CSimGigETransportLayer(known);
    return new CSimTransportLayer(known);
}

void CSimBackend::listDevices(Tavix::DeviceInfoList& list, const Tavix::DeviceMatch& match)
{
    for (const auto& layer : CWorld::instance().layerInfos()) {
        for (const auto& device : CWorld::instance().listDevices(layer.GetFullName().toStdString(), false)) {
            if (match(device))
                list.push_back(device);
        }
    }
}

Tavix::ITavixDevice* CSimBackend::createDevice(const Tavix::DeviceMatch& match)
{
    DeviceDesc device;
    std::string layerFullName;
    if (!CWorld::instance().firstPresentDevice(match, device, layerFullName))
        return nullptr;
    CWorld::instance().checkFault({device.info.GetFullName().toStdString(), layerFullName}, "CreateDevice");
    return new CSimDevice(device);
}

Tavix::ABackend* simBackend()
{
    static CSimBackend backend;
    return &backend;
}

} // namespace TavixSim
