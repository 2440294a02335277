#include "optirosterplugin.h"

#include <core/plugin/iplugininfoservice.h>
#include <plugins/optiroster/internal/cameraactioncommandsservice.h>
#include <plugins/optiroster/internal/cameraenumerationservice.h>
#include <plugins/optiroster/internal/cameraparameterprovider.h>
#include <plugins/optiroster/internal/camerastreamcontrolservice.h>
#include <plugins/optiroster/internal/controlservice.h>
#include <plugins/optiroster/internal/imagedecompressorservice.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/interfacepool.h>
#include <plugins/optiroster/internal/optiroster.h>
#include <plugins/optiroster/internal/servicelookup.h>
#include <plugins/optiroster/internal/staticdefectpixelcorrectionservice.h>
#include <plugins/optiroster/internal/statusservice.h>

namespace Plugin::OptiRoster {

using Internal::findService;

COptiRosterPlugin::COptiRosterPlugin() = default;

// Fields go in the reverse of their declaration, as members do: the services first, the
// SDK's users last.
COptiRosterPlugin::~COptiRosterPlugin() = default;

namespace {

// Keeps the service, then registers it: strictly one after the other, so that clients that look
// services up by interface see them in this order.
template <typename Field, typename Service>
void keepAndRegister(Field& field, Service* service, const QSharedPointer<Core::Plugin::IPluginInitializer>& registry)
{
    field = QSharedPointer<Service>(service);
    if (registry)
        registry->registerService(field);
}

} // namespace

bool COptiRosterPlugin::initialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer)
{
    m_pluginInitializer = initializer;
    const auto registry = m_pluginInitializer.toStrongRef();

    // The order is binding: later objects take earlier ones.
    keepAndRegister(m_imageGrabbedNotifierService, new Internal::ImageGrabbedNotifierService(nullptr), registry);
    m_optiRoster = new Internal::COptiRoster(m_imageGrabbedNotifierService.staticCast<Internal::ImageGrabbedNotifierService>(), this);
    m_interfacePool = new Internal::CInterfacePool(this);

    keepAndRegister(m_enumerationService, new Internal::CCameraEnumerationService(m_optiRoster, m_interfacePool), registry);
    keepAndRegister(m_statusService, new Internal::CStatusService(m_optiRoster, m_interfacePool, nullptr), registry);
    keepAndRegister(m_controlService, new Internal::CControlService(m_optiRoster, m_interfacePool, nullptr), registry);
    keepAndRegister(m_streamControlService, new Internal::CCameraStreamControlService(m_optiRoster, nullptr), registry);
    keepAndRegister(m_actionCommandsService, new Internal::CCameraActionCommandsService(m_optiRoster, nullptr), registry);
    keepAndRegister(m_imageDecompressorService, new Internal::CImageDecompressorService(m_optiRoster, nullptr), registry);
    keepAndRegister(m_staticDefectPixelCorrectionService, new Internal::CStaticDefectPixelCorrectionService(m_optiRoster, nullptr),
                    registry);

    // The one connection made here: no camera is searched for until the host has finished its start.
    if (const auto enumeration = m_enumerationService.objectCast<Internal::CCameraEnumerationService>(); enumeration && registry) {
        connect(registry.data(), &Core::Plugin::IPluginInitializer::initializationDone, enumeration.data(),
                &Internal::CCameraEnumerationService::onInitializationDone);
    }
    return true;
}

bool COptiRosterPlugin::postInitialize()
{
    const auto registry = m_pluginInitializer.toStrongRef();
    m_parameterService = findService<Plugin::ParameterCollectionPool::IParameterService>(registry);
    if (m_parameterService) {
        const QSharedPointer<Internal::CCameraParameterProvider> provider(new Internal::CCameraParameterProvider(nullptr));
        provider->addDevicePool(QPointer<Internal::ADevicePool>(m_optiRoster.data()));
        provider->addDevicePool(QPointer<Internal::ADevicePool>(m_interfacePool.data()));
        m_parameterProvider = provider;
        m_parameterService->registerProvider(m_parameterProvider);
    }

    if (const auto infoService = findService<Core::Plugin::IPluginInfoService>(registry)) {
        connect(infoService.data(), &Core::Plugin::IPluginInfoService::aboutToUninitialize, this,
                &COptiRosterPlugin::onAboutToUninitialize);
    }
    return true;
}

bool COptiRosterPlugin::uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer)
{
    if (m_parameterService && m_parameterProvider)
        m_parameterService->unregisterProvider(m_parameterProvider);
    // The image-grabbed notifier stays registered: clients that hold it may rely on finding it
    // until the host's registry goes.
    if (const auto registry = initializer.toStrongRef()) {
        const QList<QSharedPointer<Core::Service::IService>> services{
            m_enumerationService, m_statusService, m_controlService, m_streamControlService, m_actionCommandsService,
            m_imageDecompressorService, m_staticDefectPixelCorrectionService};
        for (const auto& service : services)
            registry->unregisterService(service);
    }
    return true;
}

void COptiRosterPlugin::onAboutToUninitialize()
{
    // A camera that grabs stops as part of its own close.
    if (m_optiRoster)
        m_optiRoster->closeAllDevices();
    if (m_interfacePool)
        m_interfacePool->closeAllDevices();
}

} // namespace Plugin::OptiRoster
