#include "messages.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>

namespace MqttBridge {

namespace {

QJsonObject header(const QString& station, qint64 time)
{
    return QJsonObject{{QStringLiteral("version"), DocumentVersion},
                       {QStringLiteral("station"), station},
                       {QStringLiteral("time"), double(time)}};
}

QByteArray compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

void insertAll(QJsonObject& into, const QJsonObject& from)
{
    for (auto it = from.begin(); it != from.end(); ++it)
        into.insert(it.key(), it.value());
}

} // namespace

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

QByteArray CStationStatus::toJson() const
{
    QJsonObject object = header(station, time);
    object.insert(QStringLiteral("state"), online ? QStringLiteral("online") : QStringLiteral("offline"));
    if (!reason.isEmpty())
        object.insert(QStringLiteral("reason"), reason);
    if (online)
        object.insert(QStringLiteral("commands"), QJsonArray::fromStringList(commands));
    return compact(object);
}

QJsonObject CCameraState::fields() const
{
    return QJsonObject{{QStringLiteral("camera"), camera},
                       {QStringLiteral("name"), name},
                       {QStringLiteral("fullName"), fullName},
                       {QStringLiteral("layer"), layer},
                       {QStringLiteral("address"), address},
                       {QStringLiteral("vendor"), vendor},
                       {QStringLiteral("model"), model},
                       {QStringLiteral("serial"), serial},
                       {QStringLiteral("firmware"), firmware},
                       {QStringLiteral("open"), open},
                       {QStringLiteral("grabbing"), grabbing},
                       {QStringLiteral("exclusive"), exclusive},
                       {QStringLiteral("lost"), lost},
                       {QStringLiteral("active"), active},
                       {QStringLiteral("lastError"), lastError}};
}

QByteArray CCameraState::toJson(const QString& station, qint64 time) const
{
    QJsonObject object = header(station, time);
    insertAll(object, fields());
    return compact(object);
}

QByteArray CCameraFigures::toJson(const QString& station, qint64 time) const
{
    QJsonObject object = header(station, time);
    object.insert(QStringLiteral("camera"), camera);
    object.insert(QStringLiteral("rate"), rate);
    object.insert(QStringLiteral("bandwidth"), double(bandwidth));
    object.insert(QStringLiteral("grabbed"), grabbed);
    object.insert(QStringLiteral("failed"), failed);
    object.insert(QStringLiteral("skipped"), double(skipped));
    if (compressed) {
        object.insert(QStringLiteral("compression"), QJsonObject{{QStringLiteral("ratio"), compressionRatio},
                                                                 {QStringLiteral("min"), minCompressionRatio},
                                                                 {QStringLiteral("max"), maxCompressionRatio}});
    } else {
        object.insert(QStringLiteral("compression"), QJsonValue::Null);
    }
    return compact(object);
}

QByteArray CStationEvent::toJson(const QString& station, qint64 time) const
{
    QJsonObject object = header(station, time);
    object.insert(QStringLiteral("event"), event);
    if (!camera.isEmpty()) {
        object.insert(QStringLiteral("camera"), camera);
        object.insert(QStringLiteral("name"), name);
    }
    insertAll(object, details);
    return compact(object);
}

} // namespace MqttBridge
