#include "transportlayerinfo.h"

namespace Plugin::OptiRoster::Internal {

CTransportLayerInfo::CTransportLayerInfo(const QString& tlClass, const QString& tlType, const QString& friendlyName,
                                         const QString& fullName, QObject* parent)
    : ITransportLayerInfo(parent)
    , m_class(tlClass)
    , m_tlType(tlType)
    , m_friendlyName(friendlyName)
    , m_fullName(fullName)
{
}

CTransportLayerInfo::~CTransportLayerInfo() = default;

QSharedPointer<CTransportLayerInfo> CTransportLayerInfo::fromTavixTransportLayer(Tavix::CTlInfo tlInfo)
{
    return QSharedPointer<CTransportLayerInfo>(new CTransportLayerInfo(
        QString::fromUtf8(tlInfo.GetDeviceClass().c_str()), QString::fromUtf8(tlInfo.GetTLType().c_str()),
        QString::fromUtf8(tlInfo.GetFriendlyName().c_str()), QString::fromUtf8(tlInfo.GetFullName().c_str()), nullptr));
}

const CCameraInfoList& CTransportLayerInfo::getCameraInfoList() const { return m_cameraInfoList; }
const CInterfaceInfoList& CTransportLayerInfo::getInterfaceInfoList() const { return m_interfaceInfoList; }
QString CTransportLayerInfo::getClass() const { return m_class; }
QString CTransportLayerInfo::getTlType() const { return m_tlType; }
QString CTransportLayerInfo::getFriendlyName() const { return m_friendlyName; }
QString CTransportLayerInfo::getFullName() const { return m_fullName; }
bool CTransportLayerInfo::haveContainedCamerasChanged() const
{
    return m_haveContainedCamerasChanged.load(std::memory_order_relaxed);
}

void CTransportLayerInfo::setCameraInfoList(const CCameraInfoList& list)
{
    QMutexLocker locker(&m_cameraInfoListMutex);
    if (&list != &m_cameraInfoList)
        m_cameraInfoList = list;
}

CCameraInfoList CTransportLayerInfo::cameraInfoListCopy() const
{
    QMutexLocker locker(&m_cameraInfoListMutex);
    return m_cameraInfoList;
}

void CTransportLayerInfo::setInterfaceInfoList(const CInterfaceInfoList& list)
{
    if (&list != &m_interfaceInfoList)
        m_interfaceInfoList = list;
}

void CTransportLayerInfo::setHaveContainedCamerasChanged(bool changed)
{
    m_haveContainedCamerasChanged.store(changed, std::memory_order_relaxed);
}

} // namespace Plugin::OptiRoster::Internal
