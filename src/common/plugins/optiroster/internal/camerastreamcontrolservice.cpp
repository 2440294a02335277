#include "camerastreamcontrolservice.h"

#include <plugins/optiroster/internal/optiroster.h>

namespace Plugin::OptiRoster::Internal {

CCameraStreamControlService::CCameraStreamControlService(QPointer<COptiRoster> optiRoster, QObject* parent)
    : ICameraStreamControlService(parent)
    , m_optiRoster(std::move(optiRoster))
{
}

CCameraStreamControlService::~CCameraStreamControlService() = default;

void CCameraStreamControlService::startGrabbing()
{
    if (m_optiRoster)
        m_optiRoster->startGrabbing();
}

void CCameraStreamControlService::startGrabbing(CameraInfoPtr info)
{
    if (m_optiRoster)
        m_optiRoster->startGrabbing(info);
}

void CCameraStreamControlService::stopGrabbing()
{
    if (m_optiRoster)
        m_optiRoster->stopGrabbing();
}

void CCameraStreamControlService::stopGrabbing(CameraInfoPtr info)
{
    if (m_optiRoster)
        m_optiRoster->stopGrabbing(info);
}

void CCameraStreamControlService::singleShot(uint timeout)
{
    if (m_optiRoster)
        m_optiRoster->singleShot(timeout);
}

void CCameraStreamControlService::singleShot(CameraInfoPtr info, uint timeout)
{
    if (m_optiRoster)
        m_optiRoster->singleShot(info, timeout);
}

void CCameraStreamControlService::stopGrabbingAll()
{
    if (m_optiRoster)
        m_optiRoster->stopGrabbingAll();
}

} // namespace Plugin::OptiRoster::Internal
