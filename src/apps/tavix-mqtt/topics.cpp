#include "topics.h"

namespace MqttBridge {

namespace {
constexpr int MaxLevelLength = 128;
constexpr int MaxTopicLength = 1024;

bool isForbidden(QChar c)
{
    return c == QLatin1Char('/') || c == QLatin1Char('+') || c == QLatin1Char('#') || c.category() == QChar::Other_Control;
}
} // namespace

QString topicLevel(const QString& text)
{
    QString level = text.left(MaxLevelLength);
    for (QChar& c : level) {
        if (isForbidden(c))
            c = QLatin1Char('_');
    }
    if (level.startsWith(QLatin1Char('$')))
        level[0] = QLatin1Char('_');
    return level.isEmpty() ? QStringLiteral("_") : level;
}

bool isValidTopicLevel(const QString& text)
{
    return !text.isEmpty() && text == topicLevel(text);
}

CStationTopics::CStationTopics(const QString& station)
    : m_station(station)
    , m_prefix(QStringLiteral("tavix/") + station + QLatin1Char('/'))
{
}

QString CStationTopics::status() const
{
    return m_prefix + QStringLiteral("status");
}

QString CStationTopics::events() const
{
    return m_prefix + QStringLiteral("events");
}

QString CStationTopics::cameraState(const QString& camera) const
{
    return m_prefix + QStringLiteral("cameras/") + camera + QStringLiteral("/state");
}

QString CStationTopics::cameraStatistics(const QString& camera) const
{
    return m_prefix + QStringLiteral("cameras/") + camera + QStringLiteral("/statistics");
}

QString CStationTopics::cameraCommand(const QString& camera) const
{
    return m_prefix + QStringLiteral("cameras/") + camera + QStringLiteral("/command");
}

QString CStationTopics::commandFilter() const
{
    return cameraCommand(QStringLiteral("+"));
}

QString CStationTopics::cameraOfCommand(const QString& topic) const
{
    const QString head = m_prefix + QStringLiteral("cameras/");
    const QString tail = QStringLiteral("/command");
    if (!topic.startsWith(head) || !topic.endsWith(tail) || topic.size() <= head.size() + tail.size())
        return {};
    const QString camera = topic.mid(head.size(), topic.size() - head.size() - tail.size());
    return isValidTopicLevel(camera) ? camera : QString();
}

bool CStationTopics::isReplyTopic(const QString& topic) const
{
    const QString head = m_prefix + QStringLiteral("replies/");
    if (!topic.startsWith(head) || topic.size() == head.size() || topic.size() > MaxTopicLength)
        return false;
    for (const QChar c : topic) {
        if (c == QLatin1Char('+') || c == QLatin1Char('#') || c.category() == QChar::Other_Control)
            return false;
    }
    return true;
}

} // namespace MqttBridge
