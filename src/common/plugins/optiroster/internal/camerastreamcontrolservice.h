#pragma once

#include <plugins/optiroster/icamerastreamcontrolservice.h>

#include <QPointer>

namespace Plugin::OptiRoster::Internal {

class COptiRoster;

// Starts and stops acquisition by forwarding to the camera roster, whose rules decide what
// happens on a camera that is missing, in exclusive use or closed.
class CCameraStreamControlService : public ICameraStreamControlService
{
    Q_OBJECT
public:
    CCameraStreamControlService(QPointer<COptiRoster> optiRoster, QObject* parent);
    ~CCameraStreamControlService() override;

public slots:
    void startGrabbing() override;

public:
    void startGrabbing(CameraInfoPtr info) override;

public slots:
    void stopGrabbing() override;

public:
    void stopGrabbing(CameraInfoPtr info) override;

public slots:
    void stopGrabbingAll() override;
    void singleShot(uint timeout = 4294967294u) override;

public:
    void singleShot(CameraInfoPtr info, uint timeout) override;

private:
    QPointer<COptiRoster> m_optiRoster;
};

} // namespace Plugin::OptiRoster::Internal
