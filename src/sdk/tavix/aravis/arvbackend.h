#pragma once

#include <tavix/aravis/arvsupport.h>

#include <tavix/backend.h>

#include <mutex>
#include <string>
#include <vector>

namespace TavixAravis {

// One Aravis interface as the layer's transport layer.
struct LayerKind
{
    const char* interfaceId; // Aravis's name
    ArvInterface* (*instance)();
    const char* deviceClass;
    const char* tlType;
    const char* friendlyName;
    bool gige;
};

// Real cameras through Aravis. Aravis's interfaces are process-wide singletons that are not
// meant to be listed and opened from several threads at once, so every such call holds one
// mutex.
class CArvBackend : public Tavix::ABackend
{
public:
    std::string name() const override { return "aravis"; }
    std::vector<Tavix::CTlInfo> layerInfos() override;
    Tavix::ITransportLayer* createLayer(const Tavix::CTlInfo& info) override;
    void listDevices(Tavix::DeviceInfoList& list, const Tavix::DeviceMatch& match) override;
    Tavix::ITavixDevice* createDevice(const Tavix::DeviceMatch& match) override;

    // Asks the interface for its devices now; a GigE Vision discovery takes about a second.
    std::vector<Tavix::CDeviceInfo> discover(const LayerKind& kind);
    // Opens the device at an address and describes it; false when none answers there.
    bool announce(const LayerKind& kind, const std::string& address, Tavix::CDeviceInfo& info);
    ArvDevice* openDevice(const LayerKind& kind, const std::string& deviceId, GError** error);

    static Tavix::CTlInfo layerInfo(const LayerKind& kind);

private:
    struct Known
    {
        const LayerKind* kind;
        Tavix::CDeviceInfo info;
    };

    std::vector<const LayerKind*> activeKinds() const;
    Tavix::ITavixDevice* createKnownDevice(const Tavix::DeviceMatch& match);
    // Under m_mutex.
    void remember(const LayerKind& kind, const std::vector<Tavix::CDeviceInfo>& devices);

    std::mutex m_mutex;
    std::vector<Known> m_known; // the devices of the last discovery of each layer, and announced ones
};

Tavix::ABackend* aravisBackend();
CArvBackend& backend();

} // namespace TavixAravis
