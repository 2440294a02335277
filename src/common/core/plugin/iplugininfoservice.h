#pragma once

#include <core/service/iservice.h>

namespace Core::Plugin {

// The host's own service; it announces shutdown before the plug-ins are uninitialised.
class IPluginInfoService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

signals:
    void aboutToUninitialize();
};

class CPluginInfoService : public IPluginInfoService
{
    Q_OBJECT
public:
    using IPluginInfoService::IPluginInfoService;

    void announceUninitialization() { emit aboutToUninitialize(); }
};

} // namespace Core::Plugin
