#pragma once

#include <core/parametercollectionpool/iparameterservice.h>
#include <core/plugin/cplugininitializer.h>
#include <core/plugin/iplugininfoservice.h>
#include <core/plugin/servicelookup.h>
#include <plugins/optiroster/icameracontrolservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/icamerastatusservice.h>
#include <plugins/optiroster/icamerastreamcontrolservice.h>
#include <plugins/optiroster/iimagegrabbednotifierservice.h>
#include <plugins/optiroster/optirosterplugin.h>

#include <memory>

// A host's side of the plug-in for tests that are its clients: a registry with the host's own
// services, the plug-in initialised in it, and the client services found by their interfaces.
struct CHostedPlugin
{
    QSharedPointer<Core::Plugin::CPluginInitializer> registry;
    QSharedPointer<Core::Plugin::CPluginInfoService> infoService;
    QSharedPointer<Plugin::ParameterCollectionPool::CParameterService> parameterService;
    std::unique_ptr<Plugin::OptiRoster::COptiRosterPlugin> plugin;
    QSharedPointer<Plugin::OptiRoster::ICameraEnumerationService> enumeration;
    QSharedPointer<Plugin::OptiRoster::ICameraStatusService> status;
    QSharedPointer<Plugin::OptiRoster::ICameraControlService> control;
    QSharedPointer<Plugin::OptiRoster::ICameraStreamControlService> stream;
    QSharedPointer<Plugin::OptiRoster::IImageGrabbedNotifierService> notifier;

    // Runs initialize and postInitialize as the host does; false when a step or a service fails.
    bool start()
    {
        using Core::Plugin::findService;
        registry.reset(new Core::Plugin::CPluginInitializer);
        infoService.reset(new Core::Plugin::CPluginInfoService);
        parameterService.reset(new Plugin::ParameterCollectionPool::CParameterService);
        registry->registerService(infoService);
        registry->registerService(parameterService);
        plugin = std::make_unique<Plugin::OptiRoster::COptiRosterPlugin>();
        if (!plugin->initialize(registry) || !plugin->postInitialize())
            return false;
        enumeration = findService<Plugin::OptiRoster::ICameraEnumerationService>(registry);
        status = findService<Plugin::OptiRoster::ICameraStatusService>(registry);
        control = findService<Plugin::OptiRoster::ICameraControlService>(registry);
        stream = findService<Plugin::OptiRoster::ICameraStreamControlService>(registry);
        notifier = findService<Plugin::OptiRoster::IImageGrabbedNotifierService>(registry);
        return enumeration && status && control && stream && notifier;
    }

    // Announces the shutdown, uninitialises, and lets go of the services before the plug-in,
    // whose code they are.
    bool stop()
    {
        infoService->announceUninitialization();
        const bool uninitialized = plugin->uninitialize(registry);
        enumeration.reset();
        status.reset();
        control.reset();
        stream.reset();
        notifier.reset();
        plugin.reset();
        return uninitialized;
    }
};
