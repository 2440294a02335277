#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <cstdint>

namespace MqttBridge {

// The version of every document the bridge publishes; docs/mqtt.md describes each field. A
// reader ignores fields it doesn't know; a change that breaks readers raises the version.
constexpr int DocumentVersion = 1;

// Milliseconds since the epoch, the time stamp of every document.
qint64 nowMs();

// What a station says about itself on its status topic.
struct CStationStatus
{
    QString station;
    bool online = false;
    QString reason; // offline: "shutdown" or "connectionLost"
    QStringList commands; // the commands it takes; empty when it takes none
    qint64 time = 0;

    QByteArray toJson() const;
};

// A camera's state, published retained whenever it changes.
struct CCameraState
{
    QString camera; // the topic level: the serial number, made fit for a topic
    QString name;
    QString fullName;
    QString layer; // the transport layer type: GEV, U3V, CXP, ...
    QString address;
    QString vendor;
    QString model;
    QString serial;
    QString firmware;
    bool open = false;
    bool grabbing = false;
    bool exclusive = false;
    bool lost = false;
    bool active = false;
    QString lastError;

    QJsonObject fields() const;
    // The whole document, with station and time; equal fields give an equal state.
    QByteArray toJson(const QString& station, qint64 time) const;
    bool operator==(const CCameraState& other) const { return fields() == other.fields(); }
    bool operator!=(const CCameraState& other) const { return !(*this == other); }
};

// A camera's figures since its grab started.
struct CCameraFigures
{
    QString camera;
    double rate = 0.0; // images per second
    uint64_t bandwidth = 0; // bytes per second
    int grabbed = 0;
    int failed = 0;
    uint64_t skipped = 0;
    bool compressed = false;
    double compressionRatio = 0.0;
    double minCompressionRatio = 0.0;
    double maxCompressionRatio = 0.0;

    QByteArray toJson(const QString& station, qint64 time) const;
};

// One thing that happened at the station.
struct CStationEvent
{
    QString event; // connected, disconnected, lost, grabStarted, grabStopped, imageFailed, ...
    QString camera; // empty for the station's own events
    QString name;
    QJsonObject details; // the event's own fields

    QByteArray toJson(const QString& station, qint64 time) const;
};

} // namespace MqttBridge
