#include "commandrequest.h"

#include "bridgesettings.h"
#include "messages.h"

#include <tavix/sim/strictjson.h>

#include <QJsonDocument>
#include <QJsonValue>
#include <QRegularExpression>
#include <QSet>

#include <cmath>

namespace MqttBridge {

namespace {

constexpr int MaxTextLength = 256;
constexpr uint32_t DefaultSingleShotTimeoutMs = 5000;
constexpr uint32_t MaxSingleShotTimeoutMs = 60000;
constexpr uint32_t DefaultActionTimeoutMs = 200;
constexpr uint32_t MaxActionTimeoutMs = 5000;

// Reads the fields of one command object, remembering the first fault.
class CFieldReader
{
public:
    explicit CFieldReader(const QJsonObject& object)
        : m_object(object)
    {
    }

    QString text(const QString& name, bool required)
    {
        const QJsonValue value = m_object.value(name);
        m_used.insert(name);
        if (value.isUndefined()) {
            if (required)
                fail(QStringLiteral("The field '%1' is missing.").arg(name));
            return {};
        }
        // A value may come as a number or a truth value too; it is written as text.
        QString result;
        if (value.isString())
            result = value.toString();
        else if (value.isBool())
            result = value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
        else if (value.isDouble())
            result = QString::number(value.toDouble(), 'g', 17);
        else
            fail(QStringLiteral("The field '%1' must be a text.").arg(name));
        if (result.size() > MaxTextLength)
            fail(QStringLiteral("The field '%1' is longer than %2 characters.").arg(name).arg(MaxTextLength));
        return result;
    }

    uint32_t number(const QString& name, uint32_t fallback, uint32_t minimum, uint32_t maximum)
    {
        const QJsonValue value = m_object.value(name);
        m_used.insert(name);
        if (value.isUndefined())
            return fallback;
        const double number = value.toDouble();
        // The range first: a double beyond it has no integer value to compare with.
        if (!value.isDouble() || !(number >= minimum && number <= maximum) || std::floor(number) != number) {
            fail(QStringLiteral("The field '%1' must be a whole number from %2 to %3.").arg(name).arg(minimum).arg(maximum));
            return fallback;
        }
        return uint32_t(number);
    }

    // Fails on a field that the command doesn't take: a typo must not pass unnoticed.
    void rejectOthers()
    {
        for (auto it = m_object.begin(); it != m_object.end(); ++it) {
            if (!m_used.contains(it.key())) {
                fail(QStringLiteral("The field '%1' is not one of this command's.").arg(it.key().left(MaxTextLength)));
                return;
            }
        }
    }

    void fail(const QString& reason)
    {
        if (m_fault.isEmpty())
            m_fault = reason;
    }
    const QString& fault() const { return m_fault; }

private:
    const QJsonObject& m_object;
    QSet<QString> m_used;
    QString m_fault;
};

bool isParameterPath(const QString& path)
{
    static const QRegularExpression form(QStringLiteral("^@[A-Za-z][A-Za-z0-9_]*/[A-Za-z_][A-Za-z0-9_]*$"));
    return form.match(path).hasMatch();
}

bool isIpv4Address(const QString& address)
{
    const QStringList parts = address.split(QLatin1Char('.'));
    if (parts.size() != 4)
        return false;
    for (const QString& part : parts) {
        bool ok = false;
        const int value = part.toInt(&ok);
        if (!ok || part.isEmpty() || part.size() > 3 || value < 0 || value > 255 || part.startsWith(QLatin1Char('+')))
            return false;
    }
    return true;
}

CParsedCommand refused(const QString& error, const QString& reason)
{
    CParsedCommand parsed;
    parsed.error = error;
    parsed.reason = reason;
    return parsed;
}

void readFields(const QString& command, CFieldReader& reader, CCommandRequest& request)
{
    if (command == QLatin1String("set")) {
        request.feature = reader.text(QStringLiteral("feature"), true);
        request.value = reader.text(QStringLiteral("value"), true);
        if (reader.fault().isEmpty() && !isParameterPath(request.feature))
            reader.fail(QStringLiteral("The feature must be a parameter path such as @CameraDevice/ExposureTime."));
    } else if (command == QLatin1String("singleShot")) {
        request.timeoutMs = reader.number(QStringLiteral("timeout"), DefaultSingleShotTimeoutMs, 1, MaxSingleShotTimeoutMs);
    } else if (command == QLatin1String("action")) {
        request.deviceKey = reader.number(QStringLiteral("deviceKey"), 0, 0, UINT32_MAX);
        request.groupKey = reader.number(QStringLiteral("groupKey"), 0, 0, UINT32_MAX);
        request.groupMask = reader.number(QStringLiteral("groupMask"), 0, 0, UINT32_MAX);
        request.timeoutMs = reader.number(QStringLiteral("timeout"), DefaultActionTimeoutMs, 1, MaxActionTimeoutMs);
        request.broadcastAddress = reader.text(QStringLiteral("broadcast"), false);
        if (request.broadcastAddress.isEmpty())
            request.broadcastAddress = QStringLiteral("255.255.255.255");
        else if (reader.fault().isEmpty() && !isIpv4Address(request.broadcastAddress))
            reader.fail(QStringLiteral("The broadcast address must be an IPv4 address such as 192.168.10.255."));
    }
}

} // namespace

CParsedCommand parseCommand(const QByteArray& payload)
{
    if (payload.size() > MaxCommandSize)
        return refused(QStringLiteral("tooLarge"), QStringLiteral("A command may have at most %1 bytes.").arg(MaxCommandSize));
    // Strictly: Qt 5.15 loses the memory of a value that a repeated key replaces, which a sender
    // could repeat without end.
    QString parseError;
    int offset = 0;
    const QJsonDocument document = TavixSim::parseJsonStrictly(payload, parseError, offset);
    if (document.isNull())
        return refused(QStringLiteral("malformed"), QStringLiteral("The command is no JSON: %1 at byte %2.").arg(parseError).arg(offset));
    if (!document.isObject())
        return refused(QStringLiteral("malformed"), QStringLiteral("The command must be a JSON object."));
    const QJsonObject object = document.object();
    const QJsonValue name = object.value(QStringLiteral("command"));
    if (!name.isString())
        return refused(QStringLiteral("malformed"), QStringLiteral("The field 'command' must be a text."));
    if (!knownCommands().contains(name.toString())) {
        return refused(QStringLiteral("unknownCommand"), QStringLiteral("'%1' is no command; the commands are %2.")
                                                             .arg(name.toString().left(MaxTextLength),
                                                                  knownCommands().join(QStringLiteral(", "))));
    }
    CParsedCommand parsed;
    parsed.request.command = name.toString();
    CFieldReader reader(object);
    reader.text(QStringLiteral("command"), true);
    readFields(parsed.request.command, reader, parsed.request);
    reader.rejectOthers();
    if (!reader.fault().isEmpty())
        return refused(QStringLiteral("malformed"), reader.fault());
    return parsed;
}

CCommandAnswer CCommandAnswer::success(const QString& command, const QString& result, const QJsonObject& details)
{
    CCommandAnswer answer;
    answer.command = command;
    answer.ok = true;
    answer.result = result;
    answer.details = details;
    return answer;
}

CCommandAnswer CCommandAnswer::failure(const QString& command, const QString& error, const QString& reason)
{
    CCommandAnswer answer;
    answer.command = command;
    answer.error = error;
    answer.reason = reason;
    return answer;
}

QByteArray CCommandAnswer::toJson(const QString& station, qint64 time) const
{
    QJsonObject object{{QStringLiteral("version"), DocumentVersion},
                       {QStringLiteral("station"), station},
                       {QStringLiteral("time"), double(time)},
                       {QStringLiteral("command"), command},
                       {QStringLiteral("camera"), camera},
                       {QStringLiteral("ok"), ok}};
    if (ok) {
        object.insert(QStringLiteral("result"), result);
    } else {
        object.insert(QStringLiteral("error"), error);
        object.insert(QStringLiteral("reason"), reason);
    }
    for (auto it = details.begin(); it != details.end(); ++it)
        object.insert(it.key(), it.value());
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace MqttBridge
