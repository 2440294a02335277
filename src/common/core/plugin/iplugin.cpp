#include "iplugin.h"

namespace Core::Plugin {

IPlugin::IPlugin(QObject* parent)
    : QObject(parent)
{
}

IPlugin::~IPlugin() = default;

bool IPlugin::checkPluginClosability(bool /*forced*/)
{
    return true;
}

IPlugin::UninitializeMode IPlugin::aboutToUninitialize()
{
    return UninitializeSynchronously;
}

} // namespace Core::Plugin
