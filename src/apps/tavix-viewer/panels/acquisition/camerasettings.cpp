#include "camerasettings.h"

#include <featuresnapshot.h>

#include <core/parametercollection/parametercollection.h>

#include <QCoreApplication>

namespace Viewer {

namespace {

const QByteArray Heading = "# Tavix Viewer camera settings";
const QString CameraMap = QStringLiteral("@CameraDevice");
// No camera has settings this large: a larger file is something else.
constexpr int LargestFile = 4 * 1024 * 1024;

QString tr(const char* text, const char* disambiguation = nullptr, int n = -1)
{
    return QCoreApplication::translate("Viewer::CCameraSettings", text, disambiguation, n);
}

bool isKeptWithTheCamera(const QString& name)
{
    return name.startsWith(QLatin1String("UserSet")) || name == QLatin1String("DeviceUserID");
}

QString escaped(const QString& value)
{
    QString text;
    for (const QChar c : value) {
        if (c == QLatin1Char('\\'))
            text += QLatin1String("\\\\");
        else if (c == QLatin1Char('\t'))
            text += QLatin1String("\\t");
        else if (c == QLatin1Char('\n'))
            text += QLatin1String("\\n");
        else
            text += c;
    }
    return text;
}

bool unescaped(const QString& text, QString& value)
{
    value.clear();
    for (int i = 0; i < text.size(); ++i) {
        if (text[i] != QLatin1Char('\\')) {
            value += text[i];
            continue;
        }
        if (++i == text.size())
            return false;
        if (text[i] == QLatin1Char('\\'))
            value += QLatin1Char('\\');
        else if (text[i] == QLatin1Char('t'))
            value += QLatin1Char('\t');
        else if (text[i] == QLatin1Char('n'))
            value += QLatin1Char('\n');
        else
            return false;
    }
    return true;
}

bool isFeatureName(const QString& name)
{
    if (name.isEmpty())
        return false;
    for (const QChar c : name) {
        if (!c.isLetterOrNumber() && c != QLatin1Char('_'))
            return false;
    }
    return true;
}

} // namespace

CCameraSettings CCameraSettings::read(ParameterCollection::CParameterCollection& collection)
{
    CCameraSettings settings;
    for (const CFeatureSnapshot& feature : CFeatureSnapshot::readAll(collection)) {
        if (feature.mapName != CameraMap || feature.access != GenApi::RW || feature.type == GenApi::intfICommand
            || !feature.readError.isEmpty() || isKeptWithTheCamera(feature.name))
            continue;
        settings.values.append({feature.name, feature.value});
    }
    return settings;
}

QByteArray CCameraSettings::toText(const QDateTime& saved) const
{
    QString text = QString::fromUtf8(Heading) + QLatin1Char('\n');
    text += QStringLiteral("# Vendor: %1\n# Model: %2\n# Camera: %3\n# Saved: %4\n")
                .arg(escaped(vendor), escaped(model), escaped(camera), saved.toString(Qt::ISODate));
    text += QStringLiteral("# A feature a line: its name, a tab and its value, in the order the camera lists them.\n");
    for (const Value& value : values)
        text += value.first + QLatin1Char('\t') + escaped(value.second) + QLatin1Char('\n');
    return text.toUtf8();
}

bool CCameraSettings::parse(const QByteArray& text, CCameraSettings& settings, QString& error)
{
    if (text.size() > LargestFile || !text.startsWith(Heading)) {
        error = tr("This is no file of camera settings: it doesn't begin with \"%1\".").arg(QString::fromUtf8(Heading));
        return false;
    }
    CCameraSettings parsed;
    const QStringList lines = QString::fromUtf8(text).split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines[i].endsWith(QLatin1Char('\r')) ? lines[i].chopped(1) : lines[i];
        if (line.trimmed().isEmpty())
            continue;
        if (line.startsWith(QLatin1Char('#'))) {
            const auto header = [&](const char* key, QString& field) {
                const QString prefix = QStringLiteral("# %1: ").arg(QLatin1String(key));
                if (line.startsWith(prefix))
                    unescaped(line.mid(prefix.size()), field);
            };
            header("Vendor", parsed.vendor);
            header("Model", parsed.model);
            header("Camera", parsed.camera);
            continue;
        }
        const int tab = line.indexOf(QLatin1Char('\t'));
        const QString name = line.left(tab);
        QString value;
        if (tab < 0 || !isFeatureName(name) || !unescaped(line.mid(tab + 1), value)) {
            error = tr("Line %1 is no feature's setting: a name, a tab and a value are expected.").arg(i + 1);
            return false;
        }
        parsed.values.append({name, value});
    }
    settings = parsed;
    return true;
}

QString CCameraSettings::mismatch(const QString& cameraVendor, const QString& cameraModel) const
{
    const bool sameModel = model.isEmpty() || cameraModel.isEmpty() || model == cameraModel;
    const bool sameVendor = vendor.isEmpty() || cameraVendor.isEmpty() || vendor == cameraVendor;
    if (sameModel && sameVendor)
        return {};
    return tr("These settings are those of a %1 %2; this camera is a %3 %4. They load onto a camera of the same model only.")
        .arg(vendor, model, cameraVendor, cameraModel);
}

CCameraSettings::CReport CCameraSettings::applyTo(ParameterCollection::CParameterCollection& collection) const
{
    CReport report;
    QVector<Value> pending;
    QVector<Value> reasons;
    for (const Value& value : values) {
        if (!collection.getParameter(CameraMap + QLatin1Char('/') + value.first))
            report.refused.append({value.first, tr("The camera has no such feature.")});
        else
            pending.append(value);
    }
    for (int pass = 0; pass < 2 && !pending.isEmpty(); ++pass) {
        QVector<Value> failed;
        reasons.clear();
        for (const Value& value : qAsConst(pending)) {
            const auto parameter = collection.getParameter(CameraMap + QLatin1Char('/') + value.first);
            try {
                if (!parameter)
                    throw GenICam::AccessException(tr("The feature is gone.").toUtf8().constData(), __FILE__, __LINE__);
                if (parameter->isReadable() && parameter->toString() == value.second) {
                    ++report.unchanged;
                    continue;
                }
                parameter->fromString(value.second);
                ++report.written;
            } catch (const GenICam::GenericException& e) {
                failed.append(value);
                reasons.append({value.first, QString::fromUtf8(e.GetDescription())});
            }
        }
        pending = failed;
    }
    report.refused += reasons;
    return report;
}

QString CCameraSettings::CReport::summary() const
{
    const QString done = tr("%n feature(s) written, %1 already so", nullptr, written).arg(unchanged);
    return refused.isEmpty() ? done + QLatin1Char('.') : tr("%1; %n refused.", nullptr, refused.size()).arg(done);
}

QString CCameraSettings::CReport::details() const
{
    QStringList lines;
    for (const Value& value : refused)
        lines << tr("%1: %2").arg(value.first, value.second);
    return lines.join(QLatin1Char('\n'));
}

} // namespace Viewer
