#include <tavix/sim/firmwarefile.h>
#include <tavix/sim/strictjson.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>

namespace TavixSim {
namespace {

constexpr char FormatKey[] = "tavixFirmwareUpdates";
constexpr int FormatVersion = 1;

// The keys an info block may hold. The first group is the vocabulary that applications read or
// that the SDK uses for versions; the second is the SDK's own, for matching and applying.
const QSet<QString>& knownInfoKeys()
{
    static const QSet<QString> keys{
        "Version", "Description", "ReleaseNotes", "VersionStyle", "VersionExtractionPattern", "ReleaseNotesURL",
        "UserSetPersistence", "SequencerSetPersistence",
        "ModelNames", "DeviceVersions", "MinimumFirmwareVersion", "DeviceFirmwareVersion", "RebootTime",
    };
    return keys;
}

const QSet<QString>& knownEntryKeys()
{
    static const QSet<QString> keys{"name", "info", "payload"};
    return keys;
}

[[noreturn]] void fail(const char* type, const QString& text)
{
    GenICam::throwException(type, text.toStdString(), __FILE__, __LINE__);
}

const char* jsonTypeName(const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::Null: return "null";
    case QJsonValue::Bool: return "boolean";
    case QJsonValue::Double: return "number";
    case QJsonValue::String: return "text";
    case QJsonValue::Array: return "array";
    case QJsonValue::Object: return "object";
    default: return "undefined";
    }
}

// Reads the entries of one file, with the context that every error text names.
class CReader
{
public:
    explicit CReader(QString fileName)
        : m_fileName(std::move(fileName))
    {
    }

    std::vector<GenApi::CFirmwareUpdateInfo> read()
    {
        const QJsonObject root = parseDocument(readBytes(m_fileName, "the update file"));
        const QJsonValue format = root.value(QLatin1String(FormatKey));
        if (format.toInt(-1) != FormatVersion)
            failFile("FormatException", QStringLiteral("'%1' must be %2; this is no update file of a known version")
                                            .arg(QLatin1String(FormatKey)).arg(FormatVersion));
        for (auto it = root.begin(); it != root.end(); ++it) {
            if (it.key() != QLatin1String(FormatKey) && it.key() != QLatin1String("updates"))
                failFile("FormatException", QStringLiteral("unknown key '%1'").arg(it.key()));
        }
        const QJsonValue updates = root.value(QStringLiteral("updates"));
        if (!updates.isArray() || updates.toArray().isEmpty())
            failFile("FormatException", QStringLiteral("'updates' must be an array of at least one update"));
        std::vector<GenApi::CFirmwareUpdateInfo> records;
        const QJsonArray entries = updates.toArray();
        for (int i = 0; i < entries.size(); ++i)
            records.emplace_back(std::make_shared<const GenApi::CFirmwareUpdateInfo::Data>(readEntry(entries[i], i)));
        return records;
    }

private:
    [[noreturn]] void failFile(const char* type, const QString& what) const
    {
        fail(type, QStringLiteral("%1: %2.").arg(m_fileName, what));
    }
    [[noreturn]] void failEntry(const char* type, const QString& what) const
    {
        fail(type, QStringLiteral("%1: update %2: %3.").arg(m_fileName, m_entry, what));
    }

    QByteArray readBytes(const QString& path, const char* what) const
    {
        QFile file(path);
        if (!file.exists()) {
            const QString text = QStringLiteral("%1 '%2' does not exist").arg(QLatin1String(what), path);
            m_entry.isEmpty() ? failFile("FileNotFoundException", text) : failEntry("FileNotFoundException", text);
        }
        if (!file.open(QIODevice::ReadOnly)) {
            const QString text = QStringLiteral("%1 '%2' cannot be read: %3").arg(QLatin1String(what), path, file.errorString());
            m_entry.isEmpty() ? failFile("FileIOException", text) : failEntry("FileIOException", text);
        }
        return file.readAll();
    }

    QJsonObject parseDocument(const QByteArray& bytes) const
    {
        QString error;
        int offset = 0;
        const QJsonDocument document = parseJsonStrictly(bytes, error, offset);
        if (document.isNull())
            failFile("FormatException", QStringLiteral("malformed at %1: %2").arg(positionText(bytes, offset), error));
        if (!document.isObject())
            failFile("FormatException", QStringLiteral("the document must be an object"));
        return document.object();
    }

    GenApi::CFirmwareUpdateInfo::Data readEntry(const QJsonValue& value, int index)
    {
        m_entry = QStringLiteral("#%1").arg(index);
        if (!value.isObject())
            failEntry("FormatException", QStringLiteral("an object is expected, not a %1").arg(QLatin1String(jsonTypeName(value))));
        const QJsonObject entry = value.toObject();
        if (entry.value(QStringLiteral("name")).isString())
            m_entry = QStringLiteral("#%1 '%2'").arg(index).arg(entry.value(QStringLiteral("name")).toString());
        for (auto it = entry.begin(); it != entry.end(); ++it) {
            if (!knownEntryKeys().contains(it.key()))
                failEntry("FormatException", QStringLiteral("unknown key '%1'").arg(it.key()));
        }
        GenApi::CFirmwareUpdateInfo::Data data;
        data.updateFilename = m_fileName.toStdString();
        data.entryName = m_entry.toStdString();
        readInfo(entry.value(QStringLiteral("info")), data);
        readPayload(entry.value(QStringLiteral("payload")), data);
        return data;
    }

    void readInfo(const QJsonValue& value, GenApi::CFirmwareUpdateInfo::Data& data) const
    {
        if (!value.isObject())
            failEntry("FormatException", QStringLiteral("'info' must be an object of key and value texts"));
        const QJsonObject info = value.toObject();
        for (auto it = info.begin(); it != info.end(); ++it) {
            if (!knownInfoKeys().contains(it.key()))
                failEntry("FormatException", QStringLiteral("unknown info key '%1'").arg(it.key()));
            if (!it.value().isString())
                failEntry("FormatException", QStringLiteral("the info key '%1' holds a %2; only texts are known")
                                                 .arg(it.key(), QLatin1String(jsonTypeName(it.value()))));
            data.info[it.key().toStdString()] = it.value().toString().toStdString();
        }
        for (const char* required : {"Version", "ModelNames"}) {
            if (!data.info.count(required))
                failEntry("FormatException", QStringLiteral("the info key '%1' is missing").arg(QLatin1String(required)));
        }
        checkChoice(data, "VersionStyle", {"dotted", "semver"});
        checkChoice(data, "UserSetPersistence", {"none", "full"});
        checkChoice(data, "SequencerSetPersistence", {"none", "full"});
        const auto pattern = data.info.find("VersionExtractionPattern");
        if (pattern != data.info.end() && !QRegularExpression(QString::fromStdString(pattern->second)).isValid())
            failEntry("FormatException", QStringLiteral("VersionExtractionPattern is no valid regular expression"));
        const auto reboot = data.info.find("RebootTime");
        bool ok = true;
        if (reboot != data.info.end() && (QString::fromStdString(reboot->second).toUInt(&ok), !ok))
            failEntry("FormatException", QStringLiteral("RebootTime must be a number of milliseconds"));
    }

    void checkChoice(const GenApi::CFirmwareUpdateInfo::Data& data, const char* key, const QStringList& choices) const
    {
        const auto it = data.info.find(key);
        if (it != data.info.end() && !choices.contains(QString::fromStdString(it->second)))
            failEntry("FormatException", QStringLiteral("%1 must be one of %2").arg(QLatin1String(key), choices.join(QStringLiteral(", "))));
    }

    void readPayload(const QJsonValue& value, GenApi::CFirmwareUpdateInfo::Data& data) const
    {
        if (!value.isObject())
            failEntry("FormatException", QStringLiteral("'payload' must be an object"));
        const QJsonObject payload = value.toObject();
        const QString checksum = payload.value(QStringLiteral("sha256")).toString().toLower();
        if (checksum.size() != 64 || QByteArray::fromHex(checksum.toLatin1()).size() != 32)
            failEntry("FormatException", QStringLiteral("'payload' needs 'sha256', 64 hexadecimal digits"));
        const bool inline_ = payload.contains(QStringLiteral("base64"));
        if (inline_ == payload.contains(QStringLiteral("file")) || payload.size() != 2)
            failEntry("FormatException", QStringLiteral("'payload' needs exactly one of 'base64' and 'file' beside 'sha256'"));
        QByteArray bytes;
        if (inline_) {
            const auto decoded = QByteArray::fromBase64Encoding(payload.value(QStringLiteral("base64")).toString().toLatin1(),
                                                                QByteArray::AbortOnBase64DecodingErrors);
            if (!decoded)
                failEntry("FormatException", QStringLiteral("the inline payload is no base64 text"));
            bytes = *decoded;
        } else {
            const QString file = payload.value(QStringLiteral("file")).toString();
            bytes = readBytes(QFileInfo(m_fileName).dir().filePath(file), "the payload file");
        }
        if (bytes.isEmpty())
            failEntry("FormatException", QStringLiteral("the payload is empty"));
        if (QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex() != checksum.toLatin1())
            failEntry("FormatException", QStringLiteral("the payload does not match its declared checksum"));
        data.payload = bytes.toStdString();
        data.payloadSha256 = checksum.toStdString();
    }

    QString m_fileName;
    mutable QString m_entry;
};

} // namespace

std::vector<GenApi::CFirmwareUpdateInfo> readFirmwareFile(const QString& fileName)
{
    return CReader(fileName).read();
}

bool matchesWildcardList(const QString& list, const QString& text)
{
    for (const QString& pattern : list.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QRegularExpression wildcard(QRegularExpression::wildcardToRegularExpression(pattern.trimmed()));
        if (wildcard.match(text).hasMatch())
            return true;
    }
    return false;
}

QString extractVersion(const GenApi::CFirmwareUpdateInfo::Data& data, const QString& deviceText)
{
    static const char dotted[] = "\\d+(?:\\.\\d+)+";
    static const char semver[] = "\\d+\\.\\d+\\.\\d+(?:-[0-9A-Za-z.-]+)?(?:\\+[0-9A-Za-z.-]+)?";
    const auto style = data.info.find("VersionStyle");
    const auto own = data.info.find("VersionExtractionPattern");
    const QString pattern = own != data.info.end() ? QString::fromStdString(own->second)
                            : style != data.info.end() && style->second == "semver" ? QLatin1String(semver)
                                                                                    : QLatin1String(dotted);
    const QRegularExpressionMatch match = QRegularExpression(pattern).match(deviceText);
    if (!match.hasMatch())
        return deviceText;
    return match.lastCapturedIndex() >= 1 ? match.captured(1) : match.captured(0);
}

int compareDottedVersions(const QString& left, const QString& right, bool& ok)
{
    static const QRegularExpression dotted(QStringLiteral("^\\d+(\\.\\d+)*$"));
    ok = dotted.match(left).hasMatch() && dotted.match(right).hasMatch();
    if (!ok)
        return 0;
    const QStringList a = left.split(QLatin1Char('.'));
    const QStringList b = right.split(QLatin1Char('.'));
    for (int i = 0; i < std::max(a.size(), b.size()); ++i) {
        const qulonglong x = i < a.size() ? a[i].toULongLong() : 0;
        const qulonglong y = i < b.size() ? b[i].toULongLong() : 0;
        if (x != y)
            return x < y ? -1 : 1;
    }
    return 0;
}

} // namespace TavixSim
