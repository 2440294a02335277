#pragma once

#include <core/logging/logging.h>

#include <QString>

namespace MqttBridge {

// A log entry of the bridge under tavix.mqtt.<area>, for whoever debugs it.
inline void logEntry(const char* category, const QString& message)
{
    Core::Logging::createLogEntry(Core::Logging::LogLevelInfo, Core::Logging::getCatId(category), message);
}

} // namespace MqttBridge
