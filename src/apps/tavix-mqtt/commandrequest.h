#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <cstdint>

namespace MqttBridge {

// The largest command the bridge reads; a longer one is refused unread.
constexpr int MaxCommandSize = 4096;

// One command to a camera, read from a message of its command topic.
struct CCommandRequest
{
    QString command; // one of knownCommands()
    // set
    QString feature;
    QString value;
    // singleShot: how long to wait for the image; action: how long to wait for answers
    uint32_t timeoutMs = 0;
    // action
    uint32_t deviceKey = 0;
    uint32_t groupKey = 0;
    uint32_t groupMask = 0;
    QString broadcastAddress;
};

// What reading a command gave: the request, or why there is none.
struct CParsedCommand
{
    CCommandRequest request;
    QString error; // a code of CCommandAnswer; empty when the request is good
    QString reason;

    bool isValid() const { return error.isEmpty(); }
};

// Reads a command: a JSON object of at most MaxCommandSize bytes with the field "command" and
// the fields that command takes, each of its type and range; anything else is refused.
CParsedCommand parseCommand(const QByteArray& payload);

// The answer to one command, sent to the reply topic the command named.
struct CCommandAnswer
{
    QString command;
    QString camera;
    bool ok = false;
    QString result; // what happened, in words
    // On failure: a code (tooLarge, malformed, unknownCommand, notAllowed, unknownCamera,
    // failed) and the reason, the roster's own where it gave one.
    QString error;
    QString reason;
    QJsonObject details; // the command's own results

    static CCommandAnswer success(const QString& command, const QString& result, const QJsonObject& details = {});
    static CCommandAnswer failure(const QString& command, const QString& error, const QString& reason);
    QByteArray toJson(const QString& station, qint64 time) const;
};

} // namespace MqttBridge
