#include <tavix/aravis/arvbackend.h>
#include <tavix/aravis/araviscontrol.h>
#include <tavix/aravis/arvdevice.h>
#include <tavix/aravis/arvtransportlayer.h>

#include <QtGlobal>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace TavixAravis {
namespace {

// The device classes and TL types are those GenTL producers give these transports.
const LayerKind kinds[] = {
    {"GigEVision", &arv_gv_interface_get_instance, "AravisGigE", "GEV", "GigE Vision (Aravis)", true},
    {"USB3Vision", &arv_uv_interface_get_instance, "AravisUsb", "U3V", "USB3 Vision (Aravis)", false},
    {"Fake", &arv_fake_interface_get_instance, "AravisFake", "Custom", "Aravis fake camera", false},
};

const LayerKind* kindNamed(const std::string& interfaceId)
{
    for (const LayerKind& kind : kinds) {
        if (interfaceId == kind.interfaceId)
            return &kind;
    }
    return nullptr;
}

struct InterfaceSelection
{
    InterfaceSelection()
    {
        ids = {"GigEVision", "USB3Vision"};
        const char* fromEnvironment = std::getenv("TAVIX_ARAVIS_INTERFACES");
        if (!fromEnvironment || !*fromEnvironment)
            return;
        std::vector<std::string> chosen;
        std::istringstream stream(fromEnvironment);
        std::string item;
        while (std::getline(stream, item, ','))
            chosen.push_back(item);
        std::string error;
        if (!apply(chosen, &error))
            qWarning("Tavix: TAVIX_ARAVIS_INTERFACES is ignored: %s", error.c_str());
    }

    bool apply(const std::vector<std::string>& chosen, std::string* error)
    {
        for (const std::string& id : chosen) {
            if (!kindNamed(id)) {
                if (error)
                    *error = "Unknown Aravis interface '" + id + "'; known are GigEVision, USB3Vision and Fake.";
                return false;
            }
        }
        ids = chosen;
        // Aravis's own device list leaves the fake camera out unless it is enabled.
        if (std::find(ids.begin(), ids.end(), "Fake") != ids.end())
            arv_enable_interface("Fake");
        return true;
    }

    std::vector<std::string> ids;
};

std::mutex& selectionMutex()
{
    static std::mutex mutex;
    return mutex;
}

InterfaceSelection& selection()
{
    static InterfaceSelection instance;
    return instance;
}

std::string text(const char* value)
{
    return value ? value : "";
}

Tavix::CDeviceInfo describe(const LayerKind& kind, ArvInterface* arvInterface, unsigned int index)
{
    Tavix::CDeviceInfo info;
    const std::string id = text(arv_interface_get_device_id(arvInterface, index));
    const std::string model = text(arv_interface_get_device_model(arvInterface, index));
    const std::string serial = text(arv_interface_get_device_serial_nbr(arvInterface, index));
    info.SetFullName(id.c_str());
    info.SetFriendlyName((model + " (" + serial + ")").c_str());
    info.SetVendorName(text(arv_interface_get_device_vendor(arvInterface, index)).c_str());
    info.SetPropertyValue("ModelName", model.c_str());
    info.SetSerialNumber(serial.c_str());
    info.SetPropertyValue("ManufacturerInfo", text(arv_interface_get_device_manufacturer_info(arvInterface, index)).c_str());
    info.SetPropertyValue("Protocol", text(arv_interface_get_device_protocol(arvInterface, index)).c_str());
    info.SetPropertyValue("Address", text(arv_interface_get_device_address(arvInterface, index)).c_str());
    info.SetPropertyValue("PhysicalId", text(arv_interface_get_device_physical_id(arvInterface, index)).c_str());
    if (kind.gige)
        info.SetPropertyValue("IpAddress", text(arv_interface_get_device_address(arvInterface, index)).c_str());
    info.SetDeviceClass(kind.deviceClass);
    info.SetTLType(kind.tlType);
    return info;
}

// A string feature of an open device, empty where it has none.
std::string stringFeature(ArvDevice* device, const char* name)
{
    CErrorTrap error;
    const char* value = arv_device_get_string_feature_value(device, name, error.out());
    return error.failed() ? std::string() : text(value);
}

} // namespace

bool setInterfaces(const std::vector<std::string>& interfaceIds, std::string* error)
{
    std::lock_guard<std::mutex> lock(selectionMutex());
    return selection().apply(interfaceIds, error);
}

std::vector<std::string> interfaces()
{
    std::lock_guard<std::mutex> lock(selectionMutex());
    return selection().ids;
}

Tavix::CTlInfo CArvBackend::layerInfo(const LayerKind& kind)
{
    Tavix::CTlInfo info;
    info.SetFullName((std::string("Aravis/") + kind.interfaceId).c_str());
    info.SetFriendlyName(kind.friendlyName);
    info.SetVendorName("Aravis");
    info.SetTLType(kind.tlType);
    info.SetPropertyValue("DeviceClass", kind.deviceClass);
    info.SetPropertyValue("Version", ARAVIS_VERSION);
    return info;
}

std::vector<const LayerKind*> CArvBackend::activeKinds() const
{
    std::vector<const LayerKind*> active;
    for (const std::string& id : interfaces())
        active.push_back(kindNamed(id));
    return active;
}

std::vector<Tavix::CTlInfo> CArvBackend::layerInfos()
{
    std::vector<Tavix::CTlInfo> infos;
    for (const LayerKind* kind : activeKinds())
        infos.push_back(layerInfo(*kind));
    return infos;
}

Tavix::ITransportLayer* CArvBackend::createLayer(const Tavix::CTlInfo& info)
{
    for (const LayerKind* kind : activeKinds()) {
        if (info.GetFullName() != layerInfo(*kind).GetFullName())
            continue;
        if (kind->gige)
            return new CArvGigETransportLayer(*kind);
        return new CArvTransportLayer(*kind);
    }
    return nullptr;
}

std::vector<Tavix::CDeviceInfo> CArvBackend::discover(const LayerKind& kind)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    ArvInterface* arvInterface = kind.instance();
    arv_interface_update_device_list(arvInterface);
    std::vector<Tavix::CDeviceInfo> devices;
    const unsigned int count = arv_interface_get_n_devices(arvInterface);
    for (unsigned int index = 0; index < count; ++index)
        devices.push_back(describe(kind, arvInterface, index));
    remember(kind, devices);
    return devices;
}

void CArvBackend::remember(const LayerKind& kind, const std::vector<Tavix::CDeviceInfo>& devices)
{
    m_known.erase(std::remove_if(m_known.begin(), m_known.end(),
                                 [&kind](const Known& known) { return known.kind == &kind && !known.info.IsPropertyAvailable("Announced"); }),
                  m_known.end());
    for (const auto& info : devices)
        m_known.push_back({&kind, info});
}

void CArvBackend::listDevices(Tavix::DeviceInfoList& list, const Tavix::DeviceMatch& match)
{
    for (const LayerKind* kind : activeKinds()) {
        for (const auto& device : discover(*kind)) {
            if (match(device))
                list.push_back(device);
        }
    }
}

Tavix::ITavixDevice* CArvBackend::createKnownDevice(const Tavix::DeviceMatch& match)
{
    const std::vector<const LayerKind*> active = activeKinds();
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const Known& known : m_known) {
        if (std::find(active.begin(), active.end(), known.kind) != active.end() && match(known.info))
            return new CArvDevice(known.info, *known.kind, known.info.GetFullName().toStdString());
    }
    return nullptr;
}

Tavix::ITavixDevice* CArvBackend::createDevice(const Tavix::DeviceMatch& match)
{
    if (Tavix::ITavixDevice* device = createKnownDevice(match))
        return device;
    // A device that came after the last listing, or an application that never listed.
    for (const LayerKind* kind : activeKinds())
        discover(*kind);
    return createKnownDevice(match);
}

ArvDevice* CArvBackend::openDevice(const LayerKind& kind, const std::string& deviceId, GError** error)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return arv_interface_open_device(kind.instance(), deviceId.c_str(), error);
}

bool CArvBackend::announce(const LayerKind& kind, const std::string& address, Tavix::CDeviceInfo& info)
{
    CErrorTrap error;
    GObjectPtr<ArvDevice> device(openDevice(kind, address, error.out()));
    if (error.failed() || !device)
        return false;
    const std::string model = stringFeature(device.get(), "DeviceModelName");
    const std::string serial = stringFeature(device.get(), "DeviceSerialNumber");
    info = Tavix::CDeviceInfo();
    info.SetFullName(address.c_str());
    info.SetFriendlyName((model + " (" + serial + ")").c_str());
    info.SetVendorName(stringFeature(device.get(), "DeviceVendorName").c_str());
    info.SetPropertyValue("ModelName", model.c_str());
    info.SetSerialNumber(serial.c_str());
    info.SetPropertyValue("Protocol", kind.interfaceId);
    info.SetPropertyValue("Address", address.c_str());
    info.SetPropertyValue("IpAddress", address.c_str());
    info.SetPropertyValue("Announced", "1");
    info.SetDeviceClass(kind.deviceClass);
    info.SetTLType(kind.tlType);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_known.push_back({&kind, info});
    return true;
}

Tavix::ABackend* aravisBackend()
{
    return &backend();
}

CArvBackend& backend()
{
    static CArvBackend instance;
    return instance;
}

} // namespace TavixAravis
