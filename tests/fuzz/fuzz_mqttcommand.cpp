// Feeds arbitrary messages to the MQTT bridge's command reader: it refuses or accepts each
// without a crash, a refusal always says why, and an accepted command is one the bridge knows,
// with its texts within their bounds.
#include <bridgesettings.h>
#include <commandrequest.h>

#include <QByteArray>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray payload(reinterpret_cast<const char*>(data), int(size));
    const MqttBridge::CParsedCommand parsed = MqttBridge::parseCommand(payload);
    if (!parsed.isValid()) {
        if (parsed.reason.isEmpty())
            __builtin_trap();
        return 0;
    }
    const MqttBridge::CCommandRequest& request = parsed.request;
    if (!MqttBridge::knownCommands().contains(request.command) || request.feature.size() > 256 || request.value.size() > 256
        || payload.size() > MqttBridge::MaxCommandSize)
        __builtin_trap();
    return 0;
}
