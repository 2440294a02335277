#include "interface.h"

#include <plugins/optiroster/internal/failurerule.h>
#include <plugins/optiroster/internal/interfaceinfo.h>

#include <tavix/tlfactory.h>

namespace Plugin::OptiRoster::Internal {

using ParameterCollection::CScopedObjectStateLock;

namespace {

const QString InterfaceNodeMap = QStringLiteral("@Interface");

quint64 logCategoryId()
{
    return onceCategoryId<LogCategories::Interface>();
}

// A failure of the interface: its reason goes to the description's last error, and with the
// sentence to the log.
CFailureReport failureReport(const char* sentence, const QSharedPointer<Core::OptiRosterComponents::IInterfaceInfo>& info)
{
    return CFailureReport(logCategoryId(), QString::fromLatin1(sentence), CFailureReport::SentenceAndReason,
                          CFailureReport::lastErrorOf<CInterfaceInfo>(info));
}

} // namespace

// Owns one transport layer given out by the factory and gives it back when it goes.
class CInterface::CTransportLayerOwner
{
public:
    explicit CTransportLayerOwner(const Tavix::CInterfaceInfo& info)
        : m_pLayer(Tavix::CTlFactory::GetInstance().CreateTl(info.GetDeviceClass()))
    {
        if (!m_pLayer)
            throw GenICam::RuntimeException("The interface's transport layer is not available.", __FILE__, __LINE__);
    }
    ~CTransportLayerOwner() { Tavix::CTlFactory::GetInstance().ReleaseTl(m_pLayer); }
    Tavix::ITransportLayer* operator->() const { return m_pLayer; }

private:
    Tavix::ITransportLayer* m_pLayer;
};

CInterface::CInterface(QSharedPointer<Core::OptiRosterComponents::IInterfaceInfo> info, QObject* parent)
    : IInterface(parent)
    , m_ptrInfo(std::move(info))
    , m_ptrObjectState(new ParameterCollection::CObjectState(this))
{
    m_ptrParameterCollection = ParameterCollection::CParameterCollection::create(m_ptrObjectState);
    m_ptrParameterCollection->announceNodeMap(InterfaceNodeMap);
}

CInterface::~CInterface()
{
    if (m_pInterface && m_pInterface->IsOpen())
        close();
    // An SDK interface that never opened, or whose close failed, still goes with this object.
    if (m_pInterface)
        releaseSdkInterface();
    if (m_ptrParameterCollection)
        m_ptrParameterCollection->detachNodeMap(InterfaceNodeMap);
    m_ptrObjectState->setState(ParameterCollection::ObjectStateFree);
    // The collection, which clients may hold, shares the state object: only the shared
    // pointers may end it.
    m_ptrObjectState->setParent(nullptr);
}

DeviceBaseInfoPtr CInterface::getInfo() const
{
    return m_ptrInfo;
}

bool CInterface::isConnected()
{
    return true;
}

bool CInterface::isOpen()
{
    return m_pInterface && m_pInterface->IsOpen();
}

QSharedPointer<ParameterCollection::CParameterCollection> CInterface::getParameterCollection() const
{
    return m_ptrParameterCollection;
}

void CInterface::createSdkInterface()
{
    auto layer = std::make_unique<CTransportLayerOwner>(m_ptrInfo->getInterfaceInfo());
    m_pInterface = (*layer)->CreateInterface(m_ptrInfo->getInterfaceInfo());
    m_pTransportLayer = std::move(layer);
}

bool CInterface::open(bool /*monitorMode*/)
{
    CScopedObjectStateLock lock(m_ptrObjectState);
    bool opened = false;
    reportFailures(failureReport("Interface could not be opened.", m_ptrInfo), [&] {
        if (!m_pInterface)
            createSdkInterface();
        if (m_pInterface->IsOpen())
            return;
        emit deviceOpening();
        m_pInterface->Open();
        m_ptrParameterCollection->attachNodeMap(InterfaceNodeMap, m_pInterface->GetNodeMap());
        m_ptrObjectState->setState(ParameterCollection::ObjectStateOpen);
        opened = true;
        emit deviceOpened();
    });
    return opened;
}

void CInterface::close()
{
    CScopedObjectStateLock lock(m_ptrObjectState);
    if (!m_pInterface || !m_pInterface->IsOpen())
        return;
    emit deviceClosing();
    m_ptrParameterCollection->attachNodeMap(InterfaceNodeMap, nullptr);
    m_ptrObjectState->setState(ParameterCollection::ObjectStateClosing);
    // A close is reported like an open rather than throwing the SDK's exception at a client of
    // the control service; the interface goes all the same, and clients hear that it is closed.
    reportFailures(failureReport("Interface could not be closed properly.", m_ptrInfo), [this] { m_pInterface->Close(); });
    releaseSdkInterface();
    emit deviceClosed();
}

void CInterface::releaseSdkInterface()
{
    if (!m_pInterface)
        return;
    {
        CScopedObjectStateLock lock(m_ptrObjectState);
        reportFailures(failureReport("Could not detach from interface node maps. Unexpected exceptions e.g. from callbacks.", m_ptrInfo),
                       [this] { m_ptrParameterCollection->detachAllNodeMaps(); });
    }
    Tavix::IInterface* sdkInterface = m_pInterface;
    m_pInterface = nullptr;
    const auto layer = std::move(m_pTransportLayer); // given back however the destruction ends
    (*layer)->DestroyInterface(sdkInterface);
}

} // namespace Plugin::OptiRoster::Internal
