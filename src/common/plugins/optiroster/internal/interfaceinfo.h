#pragma once

#include <core/optirostercomponents/iinterfaceinfo.h>

#include <tavix/deviceinfo.h>

namespace Plugin::OptiRoster::Internal {

// The description of one interface of a transport layer. Unlike a camera's, it keeps what it
// said when it was first seen.
class CInterfaceInfo : public Core::OptiRosterComponents::IInterfaceInfo
{
    Q_OBJECT
public:
    CInterfaceInfo(const Tavix::CInterfaceInfo& sdkInfo, QObject* parent);
    ~CInterfaceInfo() override;

    QString getTypeName() const override;
    QString getDisplayName() const override;
    QString getFullName() const override;
    QString getVendorName() const override;
    QString getTlType() const override;
    int getDeviceType() const override;
    QString getLastError() const override;
    void clearLastError() override;
    QString getInterfaceId() const override;
    const Tavix::CInterfaceInfo& getInterfaceInfo() const override;

    void setLastError(const QString& message);

private:
    Tavix::CInterfaceInfo m_interfaceInfo;
    QString m_friendlyName;
    QString m_fullName;
    QString m_vendorName;
    QString m_lastError;
    QString m_interfaceId;
    QString m_tlType;
};

} // namespace Plugin::OptiRoster::Internal
