#pragma once

#include <core/parametercollectionpool/iparameterservice.h>
#include <core/plugin/iplugininitializer.h>
#include <core/plugin/servicelookup.h>
#include <plugins/optiroster/icameraactioncommandsservice.h>
#include <plugins/optiroster/icameracontrolservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/icamerastatusservice.h>
#include <plugins/optiroster/icamerastreamcontrolservice.h>
#include <plugins/optiroster/idevicefirmwareupdateservice.h>
#include <plugins/optiroster/iimagedecompressorservice.h>
#include <plugins/optiroster/iimagegrabbednotifierservice.h>
#include <plugins/optiroster/istaticdefectpixelcorrectionservice.h>

#include <QReadLocker>
#include <QSharedPointer>
#include <QStringList>

using Core::Plugin::findService;

// The services of the camera roster that the host program uses, found once after start-up.
struct CClientServices
{
    QSharedPointer<Plugin::OptiRoster::ICameraEnumerationService> enumeration;
    QSharedPointer<Plugin::OptiRoster::ICameraStatusService> status;
    QSharedPointer<Plugin::OptiRoster::ICameraControlService> control;
    QSharedPointer<Plugin::OptiRoster::ICameraStreamControlService> stream;
    QSharedPointer<Plugin::OptiRoster::IImageGrabbedNotifierService> notifier;
    QSharedPointer<Plugin::ParameterCollectionPool::IParameterService> parameters;
    QSharedPointer<Plugin::OptiRoster::IDeviceFirmwareUpdateService> firmware;
    QSharedPointer<Plugin::OptiRoster::ICameraActionCommandsService> actions;
    QSharedPointer<Plugin::OptiRoster::IStaticDefectPixelCorrectionService> defects;
    QSharedPointer<Plugin::OptiRoster::IImageDecompressorService> decompressor;

    static CClientServices find(const QSharedPointer<Core::Plugin::IPluginInitializer>& registry)
    {
        CClientServices services;
        services.enumeration = findService<Plugin::OptiRoster::ICameraEnumerationService>(registry);
        services.status = findService<Plugin::OptiRoster::ICameraStatusService>(registry);
        services.control = findService<Plugin::OptiRoster::ICameraControlService>(registry);
        services.stream = findService<Plugin::OptiRoster::ICameraStreamControlService>(registry);
        services.notifier = findService<Plugin::OptiRoster::IImageGrabbedNotifierService>(registry);
        services.parameters = findService<Plugin::ParameterCollectionPool::IParameterService>(registry);
        services.firmware = findService<Plugin::OptiRoster::IDeviceFirmwareUpdateService>(registry);
        services.actions = findService<Plugin::OptiRoster::ICameraActionCommandsService>(registry);
        services.defects = findService<Plugin::OptiRoster::IStaticDefectPixelCorrectionService>(registry);
        services.decompressor = findService<Plugin::OptiRoster::IImageDecompressorService>(registry);
        return services;
    }

    // The interface names of the services that were not found.
    QStringList missing() const
    {
        QStringList names;
        if (!enumeration)
            names << QStringLiteral("ICameraEnumerationService");
        if (!status)
            names << QStringLiteral("ICameraStatusService");
        if (!control)
            names << QStringLiteral("ICameraControlService");
        if (!stream)
            names << QStringLiteral("ICameraStreamControlService");
        if (!notifier)
            names << QStringLiteral("IImageGrabbedNotifierService");
        if (!parameters)
            names << QStringLiteral("IParameterService");
        if (!firmware)
            names << QStringLiteral("IDeviceFirmwareUpdateService");
        if (!actions)
            names << QStringLiteral("ICameraActionCommandsService");
        if (!defects)
            names << QStringLiteral("IStaticDefectPixelCorrectionService");
        if (!decompressor)
            names << QStringLiteral("IImageDecompressorService");
        return names;
    }
};
