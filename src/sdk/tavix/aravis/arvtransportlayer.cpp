#include <tavix/aravis/arvtransportlayer.h>

#include <tavix/sim/world.h>
#include <tavix/tlfactory.h>

namespace TavixAravis {

CArvInterface::CArvInterface(const Tavix::CInterfaceInfo& info)
    : m_info(info)
    , m_nodeMap(info.GetInterfaceID().toStdString())
{
    TavixSim::CWorld::instance().objectCreated(TavixSim::LiveInterface);
}

CArvInterface::~CArvInterface()
{
    TavixSim::CWorld::instance().objectDestroyed(TavixSim::LiveInterface);
}

CArvTransportLayer::CArvTransportLayer(const LayerKind& kind)
    : m_kind(kind)
    , m_info(CArvBackend::layerInfo(kind))
{
    TavixSim::CWorld::instance().objectCreated(TavixSim::LiveTransportLayer);
}

CArvTransportLayer::~CArvTransportLayer()
{
    TavixSim::CWorld::instance().objectDestroyed(TavixSim::LiveTransportLayer);
}

Tavix::CInterfaceInfo CArvTransportLayer::interfaceInfo() const
{
    Tavix::CInterfaceInfo info;
    info.SetPropertyValue("InterfaceID", m_kind.interfaceId);
    info.SetFullName(m_kind.interfaceId);
    info.SetFriendlyName(m_kind.friendlyName);
    info.SetPropertyValue("DeviceClass", m_kind.deviceClass);
    info.SetTLType(m_kind.tlType);
    return info;
}

int CArvTransportLayer::EnumerateInterfaces(Tavix::InterfaceInfoList& list, bool addToList)
{
    if (!addToList)
        list.clear();
    list.push_back(interfaceInfo());
    return int(list.size());
}

int CArvTransportLayer::EnumerateDevices(Tavix::DeviceInfoList& list, bool addToList)
{
    if (!addToList)
        list.clear();
    for (const auto& device : backend().discover(m_kind))
        list.push_back(device);
    return int(list.size());
}

Tavix::IInterface* CArvTransportLayer::CreateInterface(const Tavix::CInterfaceInfo& info)
{
    if (info.GetInterfaceID() != m_kind.interfaceId)
        return nullptr;
    return new CArvInterface(info);
}

void CArvTransportLayer::DestroyInterface(Tavix::IInterface* pInterface)
{
    delete pInterface;
}

Tavix::CDeviceInfo CArvTransportLayer::CreateDeviceInfo()
{
    Tavix::CDeviceInfo info;
    info.SetDeviceClass(m_kind.deviceClass);
    info.SetTLType(m_kind.tlType);
    return info;
}

// A layer creates only devices of its own class, whatever else the description matches.
Tavix::ITavixDevice* CArvTransportLayer::CreateDevice(const Tavix::CDeviceInfo& info)
{
    Tavix::CDeviceInfo own(info);
    own.SetDeviceClass(m_kind.deviceClass);
    return Tavix::CTlFactory::GetInstance().CreateDevice(own);
}

void CArvTransportLayer::DestroyDevice(Tavix::ITavixDevice* device)
{
    Tavix::CTlFactory::GetInstance().DestroyDevice(device);
}

CArvGigETransportLayer::CArvGigETransportLayer(const LayerKind& kind)
    : CArvTransportLayer(kind)
{
}

int CArvGigETransportLayer::EnumerateAllDevices(Tavix::DeviceInfoList& list, bool addToList)
{
    return EnumerateDevices(list, addToList);
}

bool CArvGigETransportLayer::AnnounceRemoteDevice(const GenICam::gcstring& ipAddress, Tavix::CDeviceInfo* pInfo)
{
    Tavix::CDeviceInfo info;
    if (!backend().announce(m_kind, ipAddress.toStdString(), info))
        return false;
    if (pInfo)
        *pInfo = info;
    return true;
}

bool CArvGigETransportLayer::IssueActionCommand(uint32_t, uint32_t, uint32_t, const GenICam::gcstring&, uint32_t, uint32_t*,
                                                Tavix::ActionCommandResult*)
{
    throwNotSupported("Sending action commands");
}

bool CArvGigETransportLayer::IssueScheduledActionCommand(uint32_t, uint32_t, uint32_t, uint64_t, const GenICam::gcstring&, uint32_t,
                                                         uint32_t*, Tavix::ActionCommandResult*)
{
    throwNotSupported("Sending scheduled action commands");
}

} // namespace TavixAravis
