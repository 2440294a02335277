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

// The transport layer of an interface, for as long as one call on it takes.
class CScopedTransportLayer
{
public:
    explicit CScopedTransportLayer(const Tavix::CInterfaceInfo& info)
        : m_pLayer(Tavix::CTlFactory::GetInstance().CreateTl(info.GetDeviceClass()))
    {
        if (!m_pLayer)
            throw GenICam::RuntimeException("The interface's transport layer is not available.", __FILE__, __LINE__);
    }
    ~CScopedTransportLayer() { Tavix::CTlFactory::GetInstance().ReleaseTl(m_pLayer); }
    Tavix::ITransportLayer* operator->() const { return m_pLayer; }

private:
    Tavix::ITransportLayer* m_pLayer;
};

} // namespace

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
    CScopedTransportLayer layer(m_ptrInfo->getInterfaceInfo());
    m_pInterface = layer->CreateInterface(m_ptrInfo->getInterfaceInfo());
}

bool CInterface::open(bool /*monitorMode*/)
{
    CScopedObjectStateLock lock(m_ptrObjectState);
    bool opened = false;
    const CFailureReport report(logCategoryId(), QStringLiteral("Interface could not be opened."), CFailureReport::SentenceAndReason,
                                CFailureReport::lastErrorOf<CInterfaceInfo>(m_ptrInfo));
    reportFailures(report, [&] {
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
    m_pInterface->Close();
    releaseSdkInterface();
    emit deviceClosed();
}

void CInterface::releaseSdkInterface()
{
    if (!m_pInterface)
        return;
    {
        CScopedObjectStateLock lock(m_ptrObjectState);
        const CFailureReport report(
            logCategoryId(), QStringLiteral("Could not detach from interface node maps. Unexpected exceptions e.g. from callbacks."),
            CFailureReport::SentenceAndReason, CFailureReport::lastErrorOf<CInterfaceInfo>(m_ptrInfo));
        reportFailures(report, [this] { m_ptrParameterCollection->detachAllNodeMaps(); });
    }
    CScopedTransportLayer layer(m_ptrInfo->getInterfaceInfo());
    layer->DestroyInterface(m_pInterface);
    m_pInterface = nullptr;
}

} // namespace Plugin::OptiRoster::Internal
