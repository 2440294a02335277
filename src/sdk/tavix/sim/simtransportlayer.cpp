#include <tavix/sim/simtransportlayer.h>
#include <tavix/sim/world.h>
#include <tavix/tlfactory.h>

namespace TavixSim {

CSimInterface::CSimInterface(const Tavix::CInterfaceInfo& info)
    : m_info(info)
{
    CWorld::instance().objectCreated(LiveInterface);
}

CSimInterface::~CSimInterface()
{
    CWorld::instance().objectDestroyed(LiveInterface);
}

void CSimInterface::Open()
{
    const std::string id = m_info.GetInterfaceID().toStdString();
    CWorld::instance().checkFault({id}, "InterfaceOpen");
    InterfaceDesc desc;
    CWorld::instance().findInterface(id, desc);
    m_pNodeMap = std::make_unique<CNodeMap>(id, desc.features);
    m_pNodeMap->setAccessHook([id](const char* access, const std::string& feature) {
        CWorld::instance().checkFault({id}, std::string(access) + ":" + feature);
    });
    m_open = true;
}

void CSimInterface::Close()
{
    m_open = false;
    m_pNodeMap.reset();
    CWorld::instance().checkFault({m_info.GetInterfaceID().toStdString()}, "InterfaceClose");
}

CSimTransportLayer::CSimTransportLayer(const Tavix::CTlInfo& info)
    : m_info(info)
{
    CWorld::instance().objectCreated(LiveTransportLayer);
}

CSimTransportLayer::~CSimTransportLayer()
{
    CWorld::instance().objectDestroyed(LiveTransportLayer);
}

int CSimTransportLayer::EnumerateInterfaces(Tavix::InterfaceInfoList& list, bool addToList)
{
    CWorld::instance().checkFault({fullName()}, "EnumerateInterfaces");
    if (!addToList)
        list.clear();
    for (const auto& candidate : CWorld::instance().interfacesOf(fullName()))
        list.push_back(candidate.info);
    return int(list.size());
}

int CSimTransportLayer::listDevices(Tavix::DeviceInfoList& list, bool addToList, bool allSubnets, const char* operation)
{
    CWorld::instance().checkFault({fullName()}, operation);
    CWorld::instance().countCall(std::string(operation) + ":" + fullName());
    if (!addToList)
        list.clear();
    for (const auto& device : CWorld::instance().listDevices(fullName(), allSubnets))
        list.push_back(device);
    return int(list.size());
}

int CSimTransportLayer::EnumerateDevices(Tavix::DeviceInfoList& list, bool addToList)
{
    return listDevices(list, addToList, false, "EnumerateDevices");
}

Tavix::IInterface* CSimTransportLayer::CreateInterface(const Tavix::CInterfaceInfo& info)
{
    CWorld::instance().checkFault({info.GetInterfaceID().toStdString(), fullName()}, "CreateInterface");
    for (const auto& candidate : CWorld::instance().interfacesOf(fullName())) {
        if (candidate.info.GetInterfaceID() == info.GetInterfaceID())
            return new CSimInterface(candidate.info);
    }
    const std::string text = "The interface '" + info.GetInterfaceID().toStdString() + "' doesn't exist on this layer.";
    throw GenICam::InvalidArgumentException(text.c_str(), __FILE__, __LINE__);
}

void CSimTransportLayer::DestroyInterface(Tavix::IInterface* pInterface)
{
    delete pInterface;
}

Tavix::CDeviceInfo CSimTransportLayer::CreateDeviceInfo()
{
    Tavix::CDeviceInfo info;
    info.SetPropertyValue("DeviceClass", m_info.GetDeviceClass());
    info.SetPropertyValue("TLType", m_info.GetTLType());
    return info;
}

Tavix::ITavixDevice* CSimTransportLayer::CreateDevice(const Tavix::CDeviceInfo& info)
{
    return Tavix::CTlFactory::GetInstance().CreateDevice(info);
}

void CSimTransportLayer::DestroyDevice(Tavix::ITavixDevice* device)
{
    Tavix::CTlFactory::GetInstance().DestroyDevice(device);
}

CSimGigETransportLayer::CSimGigETransportLayer(const Tavix::CTlInfo& info)
    : CSimTransportLayer(info)
{
}

int CSimGigETransportLayer::EnumerateAllDevices(Tavix::DeviceInfoList& list, bool addToList)
{
    return listDevices(list, addToList, true, "EnumerateAllDevices");
}

bool CSimGigETransportLayer::AnnounceRemoteDevice(const GenICam::gcstring& ipAddress, Tavix::CDeviceInfo* pInfo)
{
    CWorld::instance().checkFault({fullName()}, "AnnounceRemoteDevice");
    return CWorld::instance().announce(fullName(), ipAddress.toStdString(), pInfo);
}

} // namespace TavixSim
