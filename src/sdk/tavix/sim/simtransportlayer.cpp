#include <tavix/sim/simtransportlayer.h>
#include <tavix/sim/world.h>
#include <tavix/tlfactory.h>

#include <algorithm>
#include <cstring>

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

namespace TavixSim {

bool CSimGigETransportLayer::IssueActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                                                const GenICam::gcstring& broadcastAddress, uint32_t timeoutMs,
                                                uint32_t* pNumResults, Tavix::ActionCommandResult* results)
{
    ActionCommand command;
    command.deviceKey = deviceKey;
    command.groupKey = groupKey;
    command.groupMask = groupMask;
    command.broadcastAddress = broadcastAddress.toStdString();
    return issue(command, "IssueActionCommand", timeoutMs, pNumResults, results);
}

bool CSimGigETransportLayer::IssueScheduledActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                                                         uint64_t actionTimeNs, const GenICam::gcstring& broadcastAddress,
                                                         uint32_t timeoutMs, uint32_t* pNumResults,
                                                         Tavix::ActionCommandResult* results)
{
    ActionCommand command;
    command.deviceKey = deviceKey;
    command.groupKey = groupKey;
    command.groupMask = groupMask;
    command.scheduled = true;
    command.actionTimeNs = actionTimeNs;
    command.broadcastAddress = broadcastAddress.toStdString();
    return issue(command, "IssueScheduledActionCommand", timeoutMs, pNumResults, results);
}

bool CSimGigETransportLayer::issue(const ActionCommand& command, const char* operation, uint32_t timeoutMs,
                                   uint32_t* pNumResults, Tavix::ActionCommandResult* results)
{
    CWorld::instance().checkFault({fullName()}, operation);
    const std::vector<ActionAnswer> answers = CWorld::instance().issueAction(fullName(), command);
    // The answers come at once in the simulated network; without a time to wait for them, or
    // a place to put them, none is collected.
    if (!pNumResults)
        return true;
    const size_t room = results && timeoutMs > 0 ? size_t(*pNumResults) : 0;
    const size_t count = std::min(room, answers.size());
    for (size_t i = 0; i < count; ++i) {
        std::memset(results[i].DeviceAddress, 0, sizeof results[i].DeviceAddress);
        std::strncpy(results[i].DeviceAddress, answers[i].deviceAddress.c_str(), sizeof results[i].DeviceAddress - 1);
        results[i].Status = answers[i].status;
    }
    *pNumResults = uint32_t(count);
    return true;
}

} // namespace TavixSim
