#pragma once

#include <core/plugin/iplugininitializer.h>

#include <QObject>
#include <QWeakPointer>

// The interface id under which the host loads its plug-ins.
#define TAVIX_CORE_PLUGIN_IID "org.tavix.Core.Plugin.IPlugin/2.0"

namespace Core::Plugin {

class IPlugin : public QObject
{
    Q_OBJECT
public:
    enum UninitializeMode {
        UninitializeSynchronously = 0,
        UninitializeAsynchronously = 1,
    };
    Q_ENUM(UninitializeMode)

    explicit IPlugin(QObject* parent = nullptr);
    ~IPlugin() override;

    virtual bool initialize(QWeakPointer<IPluginInitializer> initializer) = 0;
    virtual bool postInitialize() = 0;
    virtual bool uninitialize(QWeakPointer<IPluginInitializer> initializer) = 0;
    virtual bool checkPluginClosability(bool forced);
    virtual UninitializeMode aboutToUninitialize();
};

} // namespace Core::Plugin
