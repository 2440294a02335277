#include "camerainfo.h"

#include <QMutexLocker>

#include <atomic>

namespace Plugin::OptiRoster::Internal {

namespace {
std::atomic<quint64> identityChangeCount{0};
} // namespace

quint64 CCameraInfo::identityChanges()
{
    return identityChangeCount.load(std::memory_order_acquire);
}

namespace {
QString text(const GenICam::gcstring& value)
{
    return QString::fromUtf8(value.c_str());
}
} // namespace

CCameraInfo::CCameraInfo(const Tavix::CDeviceInfo& info, QObject* parent)
    : ICameraInfo(parent)
    , m_deviceInfo(info)
{
    deriveFields();
    const QString key = text(m_deviceInfo.GetDeviceClass()) + m_vendorName + m_modelName + m_serialNumber;
    const QByteArray id = key.toUtf8();
    setContext(Core::AppCoreComponents::CContext(Core::CId(id.constData())));
}

CCameraInfo::~CCameraInfo() = default;

void CCameraInfo::deriveFields()
{
    m_deviceFactory = text(m_deviceInfo.GetDeviceFactory());
    m_deviceVersion = text(m_deviceInfo.GetDeviceVersion());
    m_friendlyName = text(m_deviceInfo.GetFriendlyName());
    m_fullName = text(m_deviceInfo.GetFullName());
    m_modelName = text(m_deviceInfo.GetModelName());
    m_serialNumber = text(m_deviceInfo.GetSerialNumber());
    m_userDefinedName = text(m_deviceInfo.GetUserDefinedName());
    m_vendorName = text(m_deviceInfo.GetVendorName());
    m_tlType = text(m_deviceInfo.GetTLType());
}

QString CCameraInfo::getTypeName() const
{
    return QStringLiteral("Device");
}

QString CCameraInfo::getDisplayName() const
{
    if (!text(m_deviceInfo.GetDeviceClass()).contains(QLatin1String("VorlanGTC")))
        return m_friendlyName;
    if (m_deviceInfo.IsUserDefinedNameAvailable() && !m_userDefinedName.trimmed().isEmpty())
        return QStringLiteral("%1 (%2)").arg(m_userDefinedName, m_serialNumber);
    return QStringLiteral("%1 %2 (%3)").arg(m_vendorName, m_modelName, m_serialNumber);
}

QString CCameraInfo::getFullName() const { return m_fullName; }
QString CCameraInfo::getVendorName() const { return m_vendorName; }
QString CCameraInfo::getTlType() const { return m_tlType; }
int CCameraInfo::getDeviceType() const { return 0; }
QString CCameraInfo::getLastError() const
{
    QMutexLocker locker(&m_lastErrorMutex);
    return m_lastError;
}

void CCameraInfo::clearLastError()
{
    QMutexLocker locker(&m_lastErrorMutex);
    m_lastError.clear();
}
QString CCameraInfo::getDeviceFactory() const { return m_deviceFactory; }
QString CCameraInfo::getDeviceVersion() const { return m_deviceVersion; }
QString CCameraInfo::getModelName() const { return m_modelName; }
QString CCameraInfo::getSerialNumber() const { return m_serialNumber; }
QString CCameraInfo::getUserDefinedName() const { return m_userDefinedName; }
const Tavix::CDeviceInfo& CCameraInfo::getDeviceInfo() const { return m_deviceInfo; }

void CCameraInfo::setDeviceInfo(const Tavix::CDeviceInfo& info)
{
    const QString fullName = m_fullName;
    m_deviceInfo = info;
    deriveFields();
    if (m_fullName != fullName)
        identityChangeCount.fetch_add(1, std::memory_order_acq_rel);
}

void CCameraInfo::setLastError(QString message)
{
    QMutexLocker locker(&m_lastErrorMutex);
    m_lastError.swap(message); // the old text is freed after the lock, with the argument
}

} // namespace Plugin::OptiRoster::Internal
