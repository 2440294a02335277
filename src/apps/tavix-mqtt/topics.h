#pragma once

#include <QString>

namespace MqttBridge {

// The topics of one station, all under tavix/<station>/:
//   status                       online or offline, retained; the last will says offline
//   events                       what happened, one message each
//   cameras/<camera>/state       the camera's state, retained
//   cameras/<camera>/statistics  its figures while it grabs
//   cameras/<camera>/command     commands to it, when the station takes commands
//   replies/...                  where answers may be sent
class CStationTopics
{
public:
    explicit CStationTopics(const QString& station);

    const QString& station() const { return m_station; }
    QString prefix() const { return m_prefix; }
    QString status() const;
    QString events() const;
    QString cameraState(const QString& camera) const;
    QString cameraStatistics(const QString& camera) const;
    QString cameraCommand(const QString& camera) const;
    // The filter for the commands of every camera.
    QString commandFilter() const;
    // The camera level of a command topic; empty when the topic is no command topic of this station.
    QString cameraOfCommand(const QString& topic) const;
    // Whether the station may answer on the topic: one of its own, without wildcards.
    bool isReplyTopic(const QString& topic) const;

private:
    QString m_station;
    QString m_prefix;
};

// The text made fit for one level of a topic: '/', '+', '#', control characters and a leading
// '$' become '_', an empty text "_", and it is cut to 128 characters.
QString topicLevel(const QString& text);
bool isValidTopicLevel(const QString& text);

} // namespace MqttBridge
