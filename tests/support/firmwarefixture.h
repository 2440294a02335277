#pragma once

#include "simscenario.h"

#include <tavix/firmware.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QVector>

#include <memory>

// Cameras whose firmware versions have the shapes real ones have, and records made in place.
namespace FirmwareScenario {

constexpr char OrvikName[] = "VorlanGigE#192.168.30.11#OVK-2310-40gm#41000011";
constexpr char OrvikSerial[] = "41000011";
constexpr char OrvikFirmware[] = "OVK2310-V02.01.007-build4411";
constexpr char TesmarName[] = "VorlanGigE#192.168.30.12#TSM-5120-18uc#52000012";

inline QJsonObject device(const QString& fullName, const QString& model, const QString& serial, const QString& ip,
                          const QString& deviceVersion, const QString& firmware)
{
    return QJsonObject{
        {"fullName", fullName}, {"friendlyName", QStringLiteral("Vorlan %1 (%2)").arg(model, serial)},
        {"vendorName", "Vorlan"}, {"modelName", model}, {"serialNumber", serial}, {"ipAddress", ip},
        {"deviceVersion", deviceVersion}, {"rebootTime", 3000},
        {"features", QJsonArray{
            QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 64}},
            QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 2}},
            QJsonObject{{"name", "DeviceFirmwareVersion"}, {"type", "string"}, {"value", firmware}, {"access", "RO"}},
        }},
    };
}

inline QJsonObject orvik(const QString& firmware = QLatin1String(OrvikFirmware))
{
    return device(QLatin1String(OrvikName), "OVK-2310-40gm", QLatin1String(OrvikSerial), "192.168.30.11", "OVK2310-R4.11", firmware);
}

inline QJsonObject tesmar()
{
    return device(QLatin1String(TesmarName), "TSM-5120-18uc", "52000012", "192.168.30.12", "TSM5120-R2", "TSM_5120 3.0.2 (b118)");
}

inline QString load(const QJsonArray& devices)
{
    return TestScenario::load({TestScenario::gigeLayer(devices)});
}

// A record of an update with the given info block and a small inline payload.
inline GenApi::CFirmwareUpdateInfo record(std::map<std::string, std::string> info)
{
    auto data = std::make_shared<GenApi::CFirmwareUpdateInfo::Data>();
    data->info = std::move(info);
    data->updateFilename = "made-in-place.json";
    data->entryName = "#0";
    data->payload = "payload";
    data->payloadSha256 = "239f59ed55e737c77147cf55ad0c1b030b6d7ee748a7426952f9b852d5a935e5";
    return GenApi::CFirmwareUpdateInfo(data);
}

} // namespace FirmwareScenario
