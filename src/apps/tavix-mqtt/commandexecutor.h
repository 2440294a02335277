#pragma once

#include "commandrequest.h"

#include <clientservices.h>

namespace MqttBridge {


// Carries out a command on a camera through the roster's services, on the thread the services'
// clients call from, and says what happened, with the roster's reason when it failed.
class CCommandExecutor
{
public:
    explicit CCommandExecutor(const CClientServices& services);

    CCommandAnswer execute(const Core::OptiRosterComponents::CameraInfoPtr& camera, const CCommandRequest& request);

private:
    CCommandAnswer open(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    CCommandAnswer close(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    CCommandAnswer grab(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    CCommandAnswer stop(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    CCommandAnswer singleShot(const Core::OptiRosterComponents::CameraInfoPtr& camera, const CCommandRequest& request);
    CCommandAnswer set(const Core::OptiRosterComponents::CameraInfoPtr& camera, const CCommandRequest& request);
    CCommandAnswer action(const CCommandRequest& request);
    // The camera's own reason, or the fallback when it stored none.
    static QString reasonOf(const Core::OptiRosterComponents::CameraInfoPtr& camera, const QString& fallback);

    const CClientServices& m_services;
};

} // namespace MqttBridge
