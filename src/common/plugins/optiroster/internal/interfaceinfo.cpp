#include "interfaceinfo.h"

namespace Plugin::OptiRoster::Internal {

CInterfaceInfo::CInterfaceInfo(const Tavix::CInterfaceInfo& sdkInfo, QObject* parent)
    : IInterfaceInfo(parent)
    , m_interfaceInfo(sdkInfo)
    , m_friendlyName(QString::fromUtf8(sdkInfo.GetFriendlyName().c_str()))
    , m_fullName(QString::fromUtf8(sdkInfo.GetFullName().c_str()))
    , m_vendorName(QString::fromUtf8(sdkInfo.GetVendorName().c_str()))
    , m_interfaceId(QString::fromUtf8(sdkInfo.GetInterfaceID().c_str()))
    , m_tlType(QString::fromUtf8(sdkInfo.GetTLType().c_str()))
{
    const QByteArray id = m_interfaceId.toUtf8();
    setContext(Core::AppCoreComponents::CContext(Core::CId(id.constData())));
}

CInterfaceInfo::~CInterfaceInfo() = default;

QString CInterfaceInfo::getTypeName() const { return QStringLiteral("Device"); }
QString CInterfaceInfo::getDisplayName() const { return m_friendlyName; }
QString CInterfaceInfo::getFullName() const { return m_fullName; }
QString CInterfaceInfo::getVendorName() const { return m_vendorName; }
QString CInterfaceInfo::getTlType() const { return m_tlType; }
int CInterfaceInfo::getDeviceType() const { return 2; }
QString CInterfaceInfo::getLastError() const { return m_lastError; }
void CInterfaceInfo::clearLastError() { m_lastError.clear(); }
QString CInterfaceInfo::getInterfaceId() const { return m_interfaceId; }
const Tavix::CInterfaceInfo& CInterfaceInfo::getInterfaceInfo() const { return m_interfaceInfo; }

void CInterfaceInfo::setLastError(const QString& message)
{
    m_lastError = message;
}

} // namespace Plugin::OptiRoster::Internal
