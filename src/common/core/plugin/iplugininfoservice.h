#pragma once

#include <core/service/iservice.h>

namespace Core::Plugin {

/// The host's own service; it announces shutdown before the plug-ins are uninitialised.
class IPluginInfoService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

signals:
    /// Sent on the main thread before the host uninitialises its plug-ins.
    void aboutToUninitialize();
};

/// The host's implementation.
class CPluginInfoService : public IPluginInfoService
{
    Q_OBJECT
public:
    using IPluginInfoService::IPluginInfoService;

    /// Sends aboutToUninitialize().
    void announceUninitialization() { emit aboutToUninitialize(); }
};

} // namespace Core::Plugin
