#include "transportlayerinfo.h"

#include <algorithm>
#include <iterator>

namespace Plugin::OptiRoster::Internal {

namespace {

// A copy of its own rather than a shared one: the count of shared data would otherwise be
// dropped on the reader's thread, unseen by the next assignment on the other.
template <typename List>
List unsharedCopy(const List& list)
{
    List copy;
    copy.reserve(list.size());
    std::copy(list.cbegin(), list.cend(), std::back_inserter(copy));
    return copy;
}

} // namespace

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
    return m_haveContainedCamerasChanged.load(std::memory_order_acquire);
}

void CTransportLayerInfo::setCameraInfoList(const CCameraInfoList& list)
{
    QMutexLocker locker(&m_listsMutex);
    m_latestCameraInfoList = unsharedCopy(list);
}

CCameraInfoList CTransportLayerInfo::cameraInfoListCopy() const
{
    QMutexLocker locker(&m_listsMutex);
    return unsharedCopy(m_latestCameraInfoList);
}

bool CTransportLayerInfo::replaceCameraInfoList(const CCameraInfoList& list)
{
    QMutexLocker locker(&m_listsMutex);
    if (list == m_latestCameraInfoList)
        return false;
    m_latestCameraInfoList = unsharedCopy(list);
    return true;
}

void CTransportLayerInfo::setInterfaceInfoList(const CInterfaceInfoList& list)
{
    QMutexLocker locker(&m_listsMutex);
    m_latestInterfaceInfoList = unsharedCopy(list);
}

void CTransportLayerInfo::publishLists()
{
    QMutexLocker locker(&m_listsMutex);
    if (m_cameraInfoList != m_latestCameraInfoList)
        m_cameraInfoList = unsharedCopy(m_latestCameraInfoList);
    if (m_interfaceInfoList != m_latestInterfaceInfoList)
        m_interfaceInfoList = unsharedCopy(m_latestInterfaceInfoList);
}

void CTransportLayerInfo::setHaveContainedCamerasChanged(bool changed)
{
    m_haveContainedCamerasChanged.store(changed, std::memory_order_release);
}

bool CTransportLayerInfo::takeHaveContainedCamerasChanged()
{
    return m_haveContainedCamerasChanged.exchange(false, std::memory_order_acq_rel);
}

} // namespace Plugin::OptiRoster::Internal
