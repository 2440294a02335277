#pragma once

#include <tavix/sim/simcontrol.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

// Small scenarios for tests, built as JSON the way a scenario file is written.
namespace TestScenario {

// One feature of a camera: its name, type and value, and more keys (limits, texts, category).
inline QJsonObject feature(const QString& name, const QString& type, const QJsonValue& value, const QJsonObject& more = {})
{
    QJsonObject object = more;
    object.insert("name", name);
    object.insert("type", type);
    if (!value.isNull()) // a command has none
        object.insert("value", value);
    return object;
}

inline QJsonObject camera(const QString& serial, const QJsonObject& stream = {}, const QJsonArray& features = {})
{
    QJsonObject device{
        {"fullName", QStringLiteral("SimGigE#%1").arg(serial)},
        {"friendlyName", QStringLiteral("Sim camera (%1)").arg(serial)},
        {"vendorName", "Vorlan"},
        {"modelName", "sim64"},
        {"serialNumber", serial},
        {"ipAddress", QStringLiteral("192.168.1.%1").arg(serial.right(2).toInt())},
        {"features", features.isEmpty() ? QJsonArray{
             QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 64}},
             QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 1}},
             QJsonObject{{"name", "ChunkModeActive"}, {"type", "boolean"}, {"value", false}},
         } : features},
    };
    if (!stream.isEmpty())
        device.insert("stream", stream);
    return device;
}

inline QJsonObject gigeLayer(const QJsonArray& devices, const QJsonArray& interfaces = {})
{
    return QJsonObject{{"deviceClass", "VorlanGigE"}, {"tlType", "GEV"}, {"friendlyName", "GigE"},
                       {"fullName", "VorlanGigE/TL"}, {"gige", true}, {"devices", devices},
                       {"interfaces", interfaces}};
}

inline QByteArray document(const QJsonArray& layers)
{
    return QJsonDocument(QJsonObject{{"transportLayers", layers}}).toJson();
}

// Loads the scenario; returns the error text, empty on success.
inline QString load(const QJsonArray& layers)
{
    QString error;
    TavixSim::loadScenario(document(layers), &error);
    return error;
}

} // namespace TestScenario
