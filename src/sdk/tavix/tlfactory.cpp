#include <tavix/sim/simdevice.h>
#include <tavix/sim/simtransportlayer.h>
#include <tavix/sim/world.h>
#include <tavix/tlfactory.h>

#include <set>
#include <mutex>

namespace Tavix {
namespace {

using TavixSim::CWorld;

// Each CreateTl gives a layer object of its own, which ReleaseTl ends.
struct LayerTable
{
    // Layers that an application never gave back end with the process.
    ~LayerTable()
    {
        for (TavixSim::CSimTransportLayer* layer : layers)
            delete layer;
    }

    std::mutex mutex;
    std::set<TavixSim::CSimTransportLayer*> layers;
};

LayerTable& layerTable()
{
    static LayerTable table;
    return table;
}

// A filter record matches a device when each property it sets has the device's value.
bool matches(const CDeviceInfo& device, const CDeviceInfo& filter)
{
    GenICam::gcstring_vector names;
    filter.GetPropertyNames(names);
    for (const auto& name : names) {
        if (device.GetPropertyValue(name) != filter.GetPropertyValue(name))
            return false;
    }
    return true;
}

bool matchesAny(const CDeviceInfo& device, const DeviceInfoList& filter)
{
    if (filter.empty())
        return true;
    for (const auto& record : filter) {
        if (matches(device, record))
            return true;
    }
    return false;
}

} // namespace

CTlFactory& CTlFactory::GetInstance()
{
    static CTlFactory factory;
    return factory;
}

int CTlFactory::EnumerateTls(TlInfoList& list)
{
    CWorld::instance().checkFault({"factory"}, "EnumerateTls");
    CWorld::instance().countCall("EnumerateTls");
    list.clear();
    for (const auto& layer : CWorld::instance().layerInfos())
        list.push_back(layer);
    return int(list.size());
}

ITransportLayer* CTlFactory::CreateTl(const CTlInfo& info)
{
    const std::string fullName = info.GetFullName().toStdString();
    CWorld::instance().checkFault({fullName, info.GetDeviceClass().toStdString()}, "CreateTl");
    CTlInfo known;
    bool gige = false;
    if (!CWorld::instance().layerInfo(fullName, known, gige))
        return nullptr;
    CWorld::instance().countCall("CreateTl:" + fullName);
    TavixSim::CSimTransportLayer* layer = gige ? new TavixSim::CSimGigETransportLayer(known)
                                               : new TavixSim::CSimTransportLayer(known);
    LayerTable& table = layerTable();
    std::lock_guard<std::mutex> lock(table.mutex);
    table.layers.insert(layer);
    return layer;
}

ITransportLayer* CTlFactory::CreateTl(const GenICam::gcstring& deviceClass)
{
    for (const auto& layer : CWorld::instance().layerInfos()) {
        if (layer.GetDeviceClass() == deviceClass)
            return CreateTl(layer);
    }
    return nullptr;
}

void CTlFactory::ReleaseTl(const ITransportLayer* layer)
{
    if (!layer)
        return;
    LayerTable& table = layerTable();
    std::lock_guard<std::mutex> lock(table.mutex);
    for (auto it = table.layers.begin(); it != table.layers.end(); ++it) {
        if (static_cast<const ITransportLayer*>(*it) == layer) {
            delete *it;
            table.layers.erase(it);
            return;
        }
    }
    qWarning("Tavix: ReleaseTl of a layer that the factory didn't create or has released already");
}

int CTlFactory::EnumerateDevices(DeviceInfoList& list, const DeviceInfoList& filter, bool addToList)
{
    CWorld::instance().checkFault({"factory"}, "EnumerateDevices");
    if (!addToList)
        list.clear();
    for (const auto& layer : CWorld::instance().layerInfos()) {
        for (const auto& device : CWorld::instance().listDevices(layer.GetFullName().toStdString(), false)) {
            if (matchesAny(device, filter))
                list.push_back(device);
        }
    }
    return int(list.size());
}

int CTlFactory::EnumerateDevices(DeviceInfoList& list, bool addToList)
{
    return EnumerateDevices(list, DeviceInfoList(), addToList);
}

ITavixDevice* CTlFactory::CreateDevice(const CDeviceInfo& info)
{
    const std::string fullName = info.GetFullName().toStdString();
    TavixSim::DeviceDesc device;
    std::string layerFullName;
    if (CWorld::instance().firstPresentDevice([&info](const CDeviceInfo& candidate) { return matches(candidate, info); },
                                              device, layerFullName)) {
        CWorld::instance().checkFault({device.info.GetFullName().toStdString(), layerFullName}, "CreateDevice");
        return new TavixSim::CSimDevice(device);
    }
    const std::string text = fullName.empty()
                                 ? std::string("No device is available or no device contains the provided device info properties.")
                                 : "Device '" + fullName + "' is not available.";
    throw GenICam::RuntimeException(text.c_str(), __FILE__, __LINE__);
}

ITavixDevice* CTlFactory::CreateFirstDevice(const CDeviceInfo& info)
{
    return CreateDevice(info);
}

void CTlFactory::DestroyDevice(ITavixDevice* device)
{
    delete device;
}

} // namespace Tavix

namespace GenApi {

bool CNodeMapFactory::ClearCache()
{
    TavixSim::CWorld::instance().clearModelCache();
    return true;
}

} // namespace GenApi
