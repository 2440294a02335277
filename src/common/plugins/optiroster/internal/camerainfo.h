#pragma once

#include <core/optirostercomponents/icamerainfo.h>

#include <tavix/deviceinfo.h>

#include <QMutex>

namespace Plugin::OptiRoster::Internal {

// The lasting description of one camera, whether or not it is connected. Enumeration keeps one
// object for each full name for the rest of the process.
class CCameraInfo : public Core::OptiRosterComponents::ICameraInfo
{
    Q_OBJECT
public:
    CCameraInfo(const Tavix::CDeviceInfo& info, QObject* parent);
    ~CCameraInfo() override;

    QString getTypeName() const override;
    QString getDisplayName() const override;
    QString getFullName() const override;
    QString getVendorName() const override;
    QString getTlType() const override;
    int getDeviceType() const override;
    QString getLastError() const override;
    void clearLastError() override;
    QString getDeviceFactory() const override;
    QString getDeviceVersion() const override;
    QString getModelName() const override;
    QString getSerialNumber() const override;
    QString getUserDefinedName() const override;
    const Tavix::CDeviceInfo& getDeviceInfo() const override;

    // Takes a new record and derives the fields again; the last error and the context stay.
    void setDeviceInfo(const Tavix::CDeviceInfo& info);
    // How often, in this process, a description took a record of another full name (a device
    // that came back from a firmware update under another address): indexes by full name are
    // stale when this has moved.
    static quint64 identityChanges();
    void setLastError(QString message);

private:
    void deriveFields();

    Tavix::CDeviceInfo m_deviceInfo;
    QString m_deviceFactory;
    QString m_deviceVersion;
    QString m_friendlyName;
    QString m_fullName;
    QString m_modelName;
    QString m_serialNumber;
    QString m_userDefinedName;
    QString m_vendorName;
    QString m_tlType;
    // A grab thread stores a failed image's reason while a client's thread reads or clears it.
    mutable QMutex m_lastErrorMutex; // a leaf lock: held for a copy or an assignment alone
    QString m_lastError;
};

} // namespace Plugin::OptiRoster::Internal
