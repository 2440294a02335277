#pragma once

#include <core/plugin/alocalizedplugin.h>
#include <core/parametercollectionpool/iparameterservice.h>

#include <QPointer>
#include <QSharedPointer>
#include <QWeakPointer>

namespace Plugin::OptiRoster {

class IImageGrabbedNotifierService;
class ICameraEnumerationService;
class ICameraStatusService;
class ICameraControlService;
class ICameraStreamControlService;
class ICameraActionCommandsService;
class IImageDecompressorService;
class IStaticDefectPixelCorrectionService;

namespace Internal {
class COptiRoster;
class CInterfacePool;
}

// The camera roster plug-in: creates the device pools and the services, registers the
// services with the host and takes them out again. All real work sits in the pools and services.
class COptiRosterPlugin : public Core::Plugin::ALocalizedPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.tavix.Core.Plugin.IPlugin/2.0" FILE "optiroster.json")
public:
    COptiRosterPlugin();
    ~COptiRosterPlugin() override;

    bool initialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer) override;
    bool postInitialize() override;
    bool uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer) override;

private slots:
    void onAboutToUninitialize();

private:
    // The pools are the plug-in's QObject children; services live by shared pointers alone.
    // Members go in the reverse of this order, the services before the pools.
    QPointer<Internal::COptiRoster> m_optiRoster;
    QPointer<Internal::CInterfacePool> m_interfacePool;
    QSharedPointer<ICameraEnumerationService> m_enumerationService;
    QSharedPointer<ICameraStatusService> m_statusService;
    QSharedPointer<IImageGrabbedNotifierService> m_imageGrabbedNotifierService;
    QSharedPointer<ICameraControlService> m_controlService;
    QSharedPointer<ICameraStreamControlService> m_streamControlService;
    QSharedPointer<ICameraActionCommandsService> m_actionCommandsService;
    QSharedPointer<IImageDecompressorService> m_imageDecompressorService;
    QSharedPointer<IStaticDefectPixelCorrectionService> m_staticDefectPixelCorrectionService;
    QSharedPointer<Plugin::ParameterCollectionPool::IParameterService> m_parameterService;
    QSharedPointer<Plugin::ParameterCollectionPool::IParameterProvider> m_parameterProvider;
    QWeakPointer<Core::Plugin::IPluginInitializer> m_pluginInitializer;
};

} // namespace Plugin::OptiRoster
