#include <tavix/backend.h>
#include <tavix/sim/world.h>
#include <tavix/tlfactory.h>

#include <algorithm>
#include <mutex>
#include <set>

namespace Tavix {
namespace {

using TavixSim::CWorld;

// Each CreateTl gives a layer object of its own, which ReleaseTl ends.
struct LayerTable
{
    // Layers that an application never gave back end with the process.
    ~LayerTable()
    {
        for (ITransportLayer* layer : layers)
            delete layer;
    }

    std::mutex mutex;
    std::set<ITransportLayer*> layers;
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

// A record names a device when it sets more than the layer it belongs to.
bool namesADevice(const CDeviceInfo& info)
{
    GenICam::gcstring_vector names;
    info.GetPropertyNames(names);
    return std::any_of(names.begin(), names.end(), [](const GenICam::gcstring& name) {
        return name != "DeviceClass" && name != "TLType";
    });
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
    for (ABackend* backend : activeBackends()) {
        for (const auto& layer : backend->layerInfos())
            list.push_back(layer);
    }
    return int(list.size());
}

ITransportLayer* CTlFactory::CreateTl(const CTlInfo& info)
{
    for (ABackend* backend : activeBackends()) {
        if (ITransportLayer* layer = backend->createLayer(info)) {
            LayerTable& table = layerTable();
            std::lock_guard<std::mutex> lock(table.mutex);
            table.layers.insert(layer);
            return layer;
        }
    }
    return nullptr;
}

ITransportLayer* CTlFactory::CreateTl(const GenICam::gcstring& deviceClass)
{
    for (ABackend* backend : activeBackends()) {
        for (const auto& layer : backend->layerInfos()) {
            if (layer.GetDeviceClass() == deviceClass)
                return CreateTl(layer);
        }
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
        if (*it == layer) {
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
    for (ABackend* backend : activeBackends())
        backend->listDevices(list, [&filter](const CDeviceInfo& device) { return matchesAny(device, filter); });
    return int(list.size());
}

int CTlFactory::EnumerateDevices(DeviceInfoList& list, bool addToList)
{
    return EnumerateDevices(list, DeviceInfoList(), addToList);
}

ITavixDevice* CTlFactory::CreateDevice(const CDeviceInfo& info)
{
    // An empty record would otherwise take whichever device happens to be found first.
    if (!namesADevice(info))
        throw GenICam::RuntimeException("No device is available or no device contains the provided device info properties.",
                                        __FILE__, __LINE__);
    return createMatching(info);
}

ITavixDevice* CTlFactory::createMatching(const CDeviceInfo& info)
{
    const std::string fullName = info.GetFullName().toStdString();
    for (ABackend* backend : activeBackends()) {
        if (ITavixDevice* device = backend->createDevice([&info](const CDeviceInfo& candidate) { return matches(candidate, info); }))
            return device;
    }
    const std::string text = fullName.empty()
                                 ? std::string("No device is available or no device contains the provided device info properties.")
                                 : "Device '" + fullName + "' is not available.";
    throw GenICam::RuntimeException(text.c_str(), __FILE__, __LINE__);
}

ITavixDevice* CTlFactory::CreateFirstDevice(const CDeviceInfo& info)
{
    return createMatching(info);
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
