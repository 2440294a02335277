#pragma once

#include <core/plugin/iplugininitializer.h>

#include <QObject>
#include <QWeakPointer>

/// The interface id under which the host loads its plug-ins.
#define TAVIX_CORE_PLUGIN_IID "org.tavix.Core.Plugin.IPlugin/2.0"

namespace Core::Plugin {

/// A plug-in of the host. The host creates it, calls initialize() on each plug-in, announces
/// IPluginInitializer::initializationDone(), calls postInitialize() on each, and at the end, after
/// IPluginInfoService::aboutToUninitialize(), uninitialize(); then it deletes the object and
/// unloads the module. Every call comes on the host's main thread.
class IPlugin : public QObject
{
    Q_OBJECT
public:
    /// How a plug-in wants to be uninitialised.
    enum UninitializeMode {
        /// uninitialize() is called right away
        UninitializeSynchronously = 0,
        /// the plug-in finishes work of its own first
        UninitializeAsynchronously = 1,
    };
    Q_ENUM(UninitializeMode)

    /// A plug-in object; the host takes it out of its parent.
    explicit IPlugin(QObject* parent = nullptr);
    ~IPlugin() override;

    /// Registers the plug-in's services in the registry; other plug-ins' services may not be
    /// there yet. False fails the start.
    virtual bool initialize(QWeakPointer<IPluginInitializer> initializer) = 0;
    /// Looks up and connects to the services of other plug-ins, which are all registered now.
    virtual bool postInitialize() = 0;
    /// Takes the plug-in's services out of the registry and lets go of other plug-ins' objects.
    virtual bool uninitialize(QWeakPointer<IPluginInitializer> initializer) = 0;
    /// Whether the plug-in can close now; forced when the host closes regardless. True by default.
    virtual bool checkPluginClosability(bool forced);
    /// Asked before uninitialize(); UninitializeSynchronously by default.
    virtual UninitializeMode aboutToUninitialize();
};

} // namespace Core::Plugin
