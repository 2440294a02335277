#pragma once

#include "commandrequest.h"

#include <core/parametercollectionpool/iparameterservice.h>
#include <core/plugin/iplugininitializer.h>
#include <plugins/optiroster/icameraactioncommandsservice.h>
#include <plugins/optiroster/icameracontrolservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/icamerastatusservice.h>
#include <plugins/optiroster/icamerastreamcontrolservice.h>
#include <plugins/optiroster/iimagegrabbednotifierservice.h>

#include <QSharedPointer>
#include <QStringList>

namespace MqttBridge {

// The roster's services the bridge uses, found in the registry by their interfaces.
struct CRosterServices
{
    QSharedPointer<Plugin::OptiRoster::ICameraEnumerationService> enumeration;
    QSharedPointer<Plugin::OptiRoster::ICameraStatusService> status;
    QSharedPointer<Plugin::OptiRoster::ICameraControlService> control;
    QSharedPointer<Plugin::OptiRoster::ICameraStreamControlService> stream;
    QSharedPointer<Plugin::OptiRoster::IImageGrabbedNotifierService> notifier;
    // Optional: without them "set" and "action" fail with the reason.
    QSharedPointer<Plugin::ParameterCollectionPool::IParameterService> parameters;
    QSharedPointer<Plugin::OptiRoster::ICameraActionCommandsService> actions;

    static CRosterServices find(const QSharedPointer<Core::Plugin::IPluginInitializer>& registry);
    // The names of the required services that are missing.
    QStringList missing() const;
};

// Carries out a command on a camera through the roster's services, on the thread the services'
// clients call from, and says what happened, with the roster's reason when it failed.
class CCommandExecutor
{
public:
    explicit CCommandExecutor(const CRosterServices& services);

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

    const CRosterServices& m_services;
};

} // namespace MqttBridge
