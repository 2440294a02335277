#include <tavix/sim/scenario.h>
#include <tavix/sim/strictjson.h>

#include <QJsonDocument>

#include <algorithm>

namespace TavixSim {
namespace {

struct ParseError
{
    QString path;
    QString message;
};

[[noreturn]] void fail(const QString& path, const QString& message)
{
    throw ParseError{path, message};
}

QJsonObject objectAt(const QJsonValue& value, const QString& path)
{
    if (!value.isObject())
        fail(path, QStringLiteral("an object is expected"));
    return value.toObject();
}

QJsonArray arrayAt(const QJsonObject& parent, const char* key, const QString& path)
{
    const QJsonValue value = parent.value(QLatin1String(key));
    if (value.isUndefined())
        return {};
    if (!value.isArray())
        fail(path + QLatin1Char('.') + QLatin1String(key), QStringLiteral("an array is expected"));
    return value.toArray();
}

QString textAt(const QJsonObject& parent, const char* key, const QString& path, bool required = false,
               const QString& fallback = QString())
{
    const QJsonValue value = parent.value(QLatin1String(key));
    if (value.isUndefined()) {
        if (required)
            fail(path + QLatin1Char('.') + QLatin1String(key), QStringLiteral("is missing"));
        return fallback;
    }
    if (!value.isString())
        fail(path + QLatin1Char('.') + QLatin1String(key), QStringLiteral("a string is expected"));
    return value.toString();
}

bool boolAt(const QJsonObject& parent, const char* key, const QString& path, bool fallback)
{
    const QJsonValue value = parent.value(QLatin1String(key));
    if (value.isUndefined())
        return fallback;
    if (!value.isBool())
        fail(path + QLatin1Char('.') + QLatin1String(key), QStringLiteral("true or false is expected"));
    return value.toBool();
}

double numberAt(const QJsonObject& parent, const char* key, const QString& path, double fallback)
{
    const QJsonValue value = parent.value(QLatin1String(key));
    if (value.isUndefined())
        return fallback;
    if (!value.isDouble())
        fail(path + QLatin1Char('.') + QLatin1String(key), QStringLiteral("a number is expected"));
    return value.toDouble();
}

int64_t integerAt(const QJsonObject& parent, const char* key, const QString& path, int64_t fallback)
{
    const QJsonValue value = parent.value(QLatin1String(key));
    if (value.isUndefined())
        return fallback;
    if (value.isString()) { // large values and hexadecimal codes may come as text
        bool ok = false;
        const qlonglong number = value.toString().toLongLong(&ok, 0);
        if (!ok)
            fail(path + QLatin1Char('.') + QLatin1String(key), QStringLiteral("an integer is expected"));
        return number;
    }
    const double number = numberAt(parent, key, path, double(fallback));
    // Outside the range of int64_t the conversion itself would be undefined.
    constexpr double Limit = 9223372036854775808.0; // 2^63
    if (!(number >= -Limit && number < Limit) || number != double(int64_t(number)))
        fail(path + QLatin1Char('.') + QLatin1String(key), QStringLiteral("an integer is expected"));
    return int64_t(number);
}

void checkKeys(const QJsonObject& object, const QString& path, std::initializer_list<const char*> known)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        bool found = false;
        for (const char* key : known)
            found = found || it.key() == QLatin1String(key);
        if (!found)
            fail(path + QLatin1Char('.') + it.key(), QStringLiteral("is not a known key"));
    }
}

QString indexed(const QString& path, const char* key, int index)
{
    return QStringLiteral("%1.%2[%3]").arg(path, QLatin1String(key)).arg(index);
}

GenApi::EAccessMode accessOf(const QString& text, const QString& path)
{
    static const std::map<QString, GenApi::EAccessMode> modes{
        {QStringLiteral("RW"), GenApi::RW}, {QStringLiteral("RO"), GenApi::RO}, {QStringLiteral("WO"), GenApi::WO},
        {QStringLiteral("NA"), GenApi::NA}, {QStringLiteral("NI"), GenApi::NI}};
    const auto it = modes.find(text);
    if (it == modes.end())
        fail(path, QStringLiteral("'%1' is no access mode (RW, RO, WO, NA, NI)").arg(text));
    return it->second;
}

bool isImageDimension(const FeatureDesc& feature)
{
    return feature.name == "Width" || feature.name == "Height";
}

GenApi::EVisibility visibilityOf(const QString& text, const QString& path)
{
    static const std::map<QString, GenApi::EVisibility> levels{
        {QStringLiteral("Beginner"), GenApi::Beginner}, {QStringLiteral("Expert"), GenApi::Expert},
        {QStringLiteral("Guru"), GenApi::Guru}, {QStringLiteral("Invisible"), GenApi::Invisible}};
    const auto it = levels.find(text);
    if (it == levels.end())
        fail(path, QStringLiteral("'%1' is no visibility (Beginner, Expert, Guru, Invisible)").arg(text));
    return it->second;
}

GenApi::ERepresentation representationOf(const QString& text, const QString& path)
{
    static const std::map<QString, GenApi::ERepresentation> kinds{
        {QStringLiteral("Linear"), GenApi::Linear},           {QStringLiteral("Logarithmic"), GenApi::Logarithmic},
        {QStringLiteral("PureNumber"), GenApi::PureNumber},   {QStringLiteral("HexNumber"), GenApi::HexNumber},
        {QStringLiteral("IPV4Address"), GenApi::IPV4Address}, {QStringLiteral("MACAddress"), GenApi::MACAddress}};
    const auto it = kinds.find(text);
    if (it == kinds.end())
        fail(path, QStringLiteral("'%1' is no representation (Linear, Logarithmic, PureNumber, HexNumber, IPV4Address, MACAddress)").arg(text));
    return it->second;
}

// What a client shows of a feature or a category: its category, names, texts and visibility.
void parsePresentation(const QJsonObject& object, const QString& path, FeatureDesc& feature)
{
    feature.category = textAt(object, "category", path).toStdString();
    feature.displayName = textAt(object, "displayName", path).toStdString();
    feature.toolTip = textAt(object, "tooltip", path).toStdString();
    feature.description = textAt(object, "description", path).toStdString();
    if (object.contains(QStringLiteral("visibility")))
        feature.visibility = visibilityOf(textAt(object, "visibility", path), path + QStringLiteral(".visibility"));
}

void parseNumberPresentation(const QJsonObject& object, const QString& path, FeatureDesc& feature)
{
    feature.unit = textAt(object, "unit", path).toStdString();
    if (object.contains(QStringLiteral("representation")))
        feature.representation = representationOf(textAt(object, "representation", path), path + QStringLiteral(".representation"));
}

std::vector<std::string> namesAt(const QJsonObject& object, const char* key, const QString& path)
{
    std::vector<std::string> names;
    const QJsonArray array = arrayAt(object, key, path);
    for (int i = 0; i < array.size(); ++i) {
        if (!array[i].isString() || array[i].toString().isEmpty())
            fail(indexed(path, key, i), QStringLiteral("a feature's name is expected"));
        names.push_back(array[i].toString().toStdString());
    }
    return names;
}

FeatureDesc parseCategory(const QJsonObject& object, const QString& path)
{
    checkKeys(object, path, {"name", "type", "category", "displayName", "tooltip", "description", "visibility"});
    FeatureDesc category;
    category.name = textAt(object, "name", path, true).toStdString();
    category.type = GenApi::intfICategory;
    category.access = GenApi::RO;
    parsePresentation(object, path, category);
    if (category.name == RootCategory && !category.category.empty())
        fail(path + QStringLiteral(".category"), QStringLiteral("the root category is in no other"));
    return category;
}

FeatureDesc parseFeature(const QJsonObject& object, const QString& path)
{
    if (textAt(object, "type", path, true) == QLatin1String("category"))
        return parseCategory(object, path);
    checkKeys(object, path, {"name", "type", "value", "access", "available", "min", "max", "inc", "unit", "entries", "category",
                             "displayName", "tooltip", "description", "visibility", "representation", "dependsOn"});
    FeatureDesc feature;
    feature.name = textAt(object, "name", path, true).toStdString();
    if (feature.name == RootCategory)
        fail(path + QStringLiteral(".name"), QStringLiteral("'Root' is the name of the root category"));
    const QString type = textAt(object, "type", path, true);
    feature.access = accessOf(textAt(object, "access", path, false, QStringLiteral("RW")), path + QStringLiteral(".access"));
    if (!boolAt(object, "available", path, true))
        feature.access = GenApi::NA;
    parsePresentation(object, path, feature);
    feature.dependsOn = namesAt(object, "dependsOn", path);
    if (type == QLatin1String("integer")) {
        feature.type = GenApi::intfIInteger;
        feature.intValue = integerAt(object, "value", path, 0);
        if (isImageDimension(feature) && (feature.intValue < 1 || feature.intValue > MaxImageBytes))
            fail(path + QStringLiteral(".value"), QStringLiteral("%1 pixels is no image's %2; 1 to %3 is expected")
                                                      .arg(feature.intValue).arg(QString::fromStdString(feature.name)).arg(MaxImageBytes));
        feature.intMin = integerAt(object, "min", path, INT64_MIN);
        feature.intMax = integerAt(object, "max", path, INT64_MAX);
        feature.intInc = integerAt(object, "inc", path, 1);
        if (feature.intInc < 1)
            fail(path + QStringLiteral(".inc"), QStringLiteral("an increment of 1 or more is expected"));
        parseNumberPresentation(object, path, feature);
    } else if (type == QLatin1String("float")) {
        feature.type = GenApi::intfIFloat;
        feature.floatValue = numberAt(object, "value", path, 0.0);
        feature.floatMin = numberAt(object, "min", path, -1e300);
        feature.floatMax = numberAt(object, "max", path, 1e300);
        feature.floatInc = numberAt(object, "inc", path, 0.0);
        if (feature.floatInc < 0)
            fail(path + QStringLiteral(".inc"), QStringLiteral("must not be negative"));
        parseNumberPresentation(object, path, feature);
    } else if (type == QLatin1String("boolean")) {
        feature.type = GenApi::intfIBoolean;
        feature.boolValue = boolAt(object, "value", path, false);
    } else if (type == QLatin1String("command")) {
        feature.type = GenApi::intfICommand;
    } else if (type == QLatin1String("string")) {
        feature.type = GenApi::intfIString;
        feature.stringValue = textAt(object, "value", path).toStdString();
    } else if (type == QLatin1String("enumeration")) {
        feature.type = GenApi::intfIEnumeration;
        const QJsonArray entries = arrayAt(object, "entries", path);
        if (entries.isEmpty())
            fail(path + QStringLiteral(".entries"), QStringLiteral("an enumeration needs at least one entry"));
        for (int i = 0; i < entries.size(); ++i) {
            const QString entryPath = indexed(path, "entries", i);
            EnumEntryDesc entry;
            if (entries[i].isString()) {
                entry.name = entries[i].toString().toStdString();
                entry.value = i;
            } else {
                const QJsonObject e = objectAt(entries[i], entryPath);
                checkKeys(e, entryPath, {"name", "value", "available"});
                entry.name = textAt(e, "name", entryPath, true).toStdString();
                entry.value = integerAt(e, "value", entryPath, i);
                entry.available = boolAt(e, "available", entryPath, true);
            }
            feature.entries.push_back(entry);
        }
        feature.stringValue = textAt(object, "value", path, false, QString::fromStdString(feature.entries.front().name)).toStdString();
        bool known = false;
        for (const auto& entry : feature.entries)
            known = known || entry.name == feature.stringValue;
        if (!known)
            fail(path + QStringLiteral(".value"), QStringLiteral("'%1' is not among the entries").arg(QString::fromStdString(feature.stringValue)));
    } else {
        fail(path + QStringLiteral(".type"),
             QStringLiteral("'%1' is no feature type (integer, float, enumeration, boolean, command, string, category)").arg(type));
    }
    if ((feature.type == GenApi::intfIInteger || feature.type == GenApi::intfIFloat) == false
        && (object.contains(QStringLiteral("unit")) || object.contains(QStringLiteral("representation"))))
        fail(path, QStringLiteral("only an integer or a float has a unit and a representation"));
    return feature;
}

// Categories form a tree below the root: one that is, through its parents, in itself would
// never end a client's walk.
void checkCategoryTree(const NodeMapDescription& features, const QString& path)
{
    std::map<std::string, std::string> parents;
    for (const auto& feature : features) {
        if (feature.type == GenApi::intfICategory)
            parents[feature.name] = feature.category;
    }
    for (const auto& category : parents) {
        std::string at = category.second;
        for (size_t steps = 0; !at.empty(); ++steps) {
            if (at == category.first || steps > parents.size())
                fail(path, QStringLiteral("the category '%1' is in itself").arg(QString::fromStdString(category.first)));
            const auto parent = parents.find(at);
            at = parent == parents.end() ? std::string() : parent->second;
        }
    }
}

NodeMapDescription parseFeatureArray(const QJsonArray& array, const QString& path)
{
    NodeMapDescription features;
    for (int i = 0; i < array.size(); ++i) {
        const QString featurePath = QStringLiteral("%1[%2]").arg(path).arg(i);
        features.push_back(parseFeature(objectAt(array[i], featurePath), featurePath));
    }
    checkCategoryTree(features, path);
    return features;
}

StreamDesc parseStream(const QJsonObject& object, const QString& path)
{
    checkKeys(object, path, {"frameRate", "payloadType", "firstImageNumber", "frameLimit", "chunkTrailerMissingEvery",
                             "failures", "errors"});
    StreamDesc stream;
    stream.frameRate = numberAt(object, "frameRate", path, 0.0);
    if (stream.frameRate < 0)
        fail(path + QStringLiteral(".frameRate"), QStringLiteral("must not be negative"));
    // The period of a frame is counted in nanoseconds: it must be one at least, and fit.
    if (stream.frameRate > MaxFrameRate || (stream.frameRate > 0 && stream.frameRate < MinFrameRate))
        fail(path + QStringLiteral(".frameRate"), QStringLiteral("%1 frames a second is no camera's; 0 or %2 to %3 is expected")
                                                      .arg(stream.frameRate).arg(MinFrameRate).arg(MaxFrameRate));
    stream.payloadType = textAt(object, "payloadType", path, false, QStringLiteral("auto")).toStdString();
    if (stream.payloadType != "auto" && stream.payloadType != "image" && stream.payloadType != "chunk")
        fail(path + QStringLiteral(".payloadType"), QStringLiteral("auto, image or chunk is expected"));
    stream.firstImageNumber = integerAt(object, "firstImageNumber", path, 1);
    stream.frameLimit = integerAt(object, "frameLimit", path, 0);
    stream.chunkTrailerMissingEvery = integerAt(object, "chunkTrailerMissingEvery", path, 0);
    if (stream.chunkTrailerMissingEvery < 0)
        fail(path + QStringLiteral(".chunkTrailerMissingEvery"), QStringLiteral("must not be negative"));
    const QJsonArray failures = arrayAt(object, "failures", path);
    for (int i = 0; i < failures.size(); ++i) {
        const QString p = indexed(path, "failures", i);
        const QJsonObject f = objectAt(failures[i], p);
        checkKeys(f, p, {"frame", "every", "code", "text"});
        FrameFailure failure;
        failure.frame = integerAt(f, "frame", p, 0);
        failure.every = integerAt(f, "every", p, 0);
        if ((failure.frame > 0) == (failure.every > 0))
            fail(p, QStringLiteral("exactly one of frame and every, greater than 0, is expected"));
        failure.code = uint32_t(integerAt(f, "code", p, 0xE1000014));
        failure.text = textAt(f, "text", p, false, QStringLiteral("The buffer was incompletely grabbed.")).toStdString();
        stream.failures.push_back(failure);
    }
    const QJsonArray errors = arrayAt(object, "errors", path);
    for (int i = 0; i < errors.size(); ++i) {
        const QString p = indexed(path, "errors", i);
        const QJsonObject e = objectAt(errors[i], p);
        checkKeys(e, p, {"afterFrame", "message"});
        stream.errors.push_back({integerAt(e, "afterFrame", p, 0), textAt(e, "message", p, true).toStdString()});
    }
    return stream;
}

CompressionDesc parseCompression(const QJsonObject& object, const QString& path)
{
    for (const char* retired : {"descriptor", "ratios"}) {
        if (object.contains(QLatin1String(retired)))
            fail(path + QLatin1Char('.') + QLatin1String(retired),
                 QStringLiteral("is no longer used: the camera compresses its images and makes its own descriptor"));
    }
    checkKeys(object, path, {"imageSize", "lossy", "statusErrorFrames"});
    CompressionDesc compression;
    compression.enabled = true;
    compression.imageSize = integerAt(object, "imageSize", path, -1);
    compression.lossy = boolAt(object, "lossy", path, false);
    const QJsonArray errors = arrayAt(object, "statusErrorFrames", path);
    for (int i = 0; i < errors.size(); ++i) {
        if (!errors[i].isDouble())
            fail(indexed(path, "statusErrorFrames", i), QStringLiteral("a frame number is expected"));
        compression.statusErrorFrames.push_back(int64_t(errors[i].toDouble()));
    }
    return compression;
}

// A list of [x, y] pairs, kept in the text form in which the camera holds it.
std::string parsePixelList(const QJsonObject& parent, const char* key, const QString& path)
{
    std::string text;
    const QJsonArray pixels = arrayAt(parent, key, path);
    for (int i = 0; i < pixels.size(); ++i) {
        const QJsonArray pair = pixels[i].toArray();
        const bool valid = pair.size() == 2 && pair[0].isDouble() && pair[1].isDouble() && pair[0].toDouble() >= 0
                           && pair[1].toDouble() >= 0 && pair[0].toDouble() == double(int64_t(pair[0].toDouble()))
                           && pair[1].toDouble() == double(int64_t(pair[1].toDouble()));
        if (!valid)
            fail(indexed(path, key, i), QStringLiteral("a pair [x, y] of pixel coordinates is expected"));
        if (!text.empty())
            text += ';';
        text += std::to_string(int64_t(pair[0].toDouble())) + ',' + std::to_string(int64_t(pair[1].toDouble()));
    }
    return text;
}

DefectPixelsDesc parseDefectPixels(const QJsonObject& object, const QString& path)
{
    checkKeys(object, path, {"factory", "user", "sensor"});
    DefectPixelsDesc pixels;
    pixels.enabled = true;
    pixels.factory = parsePixelList(object, "factory", path);
    pixels.user = parsePixelList(object, "user", path);
    pixels.sensor = parsePixelList(object, "sensor", path);
    return pixels;
}

std::vector<Fault> parseDeviceFaults(const QJsonArray& array, const QString& path, const std::string& fullName)
{
    std::vector<Fault> faults;
    for (int i = 0; i < array.size(); ++i) {
        const QString p = indexed(path, "faults", i);
        const QJsonObject object = objectAt(array[i], p);
        checkKeys(object, p, {"operation", "type", "description"});
        Fault fault;
        fault.target = fullName;
        fault.operation = textAt(object, "operation", p, true).toStdString();
        fault.exceptionType = textAt(object, "type", p, false, QStringLiteral("RuntimeException")).toStdString();
        fault.description = textAt(object, "description", p, false, QStringLiteral("Simulated failure.")).toStdString();
        fault.count = -1;
        faults.push_back(fault);
    }
    return faults;
}

const FeatureDesc* findFeature(const NodeMapDescription& features, const char* name)
{
    for (const auto& feature : features) {
        if (feature.name == name)
            return &feature;
    }
    return nullptr;
}

// The camera's own feature, else its model's, else null.
const FeatureDesc* effectiveFeature(const DeviceDesc& device, const NodeMapDescription& model, const char* name)
{
    const FeatureDesc* own = findFeature(device.features, name);
    return own ? own : findFeature(model, name);
}

// Refuses a camera whose image, at the widest of its pixel formats, takes more memory than any
// camera sends; the simulated camera's defaults stand in for what the scenario leaves out.
void checkImageSize(const DeviceDesc& device, const Scenario& scenario, const QString& path)
{
    NodeMapDescription model;
    if (!device.model.empty())
        model = parseFeatureArray(scenario.models.at(device.model), QStringLiteral("$.models.") + QString::fromStdString(device.model));
    const FeatureDesc* width = effectiveFeature(device, model, "Width");
    const FeatureDesc* height = effectiveFeature(device, model, "Height");
    const FeatureDesc* format = effectiveFeature(device, model, "PixelFormat");
    int64_t widest = 4; // the default formats go up to BGRA8
    if (format && format->type == GenApi::intfIEnumeration) {
        widest = 1;
        for (const auto& entry : format->entries)
            widest = std::max(widest, bytesPerPixel(entry.name));
    }
    // Each dimension is at most MaxImageBytes, so that the product can't overflow.
    const int64_t pixels = (width && width->type == GenApi::intfIInteger ? width->intValue : 640)
                           * (height && height->type == GenApi::intfIInteger ? height->intValue : 480);
    if (pixels > MaxImageBytes / widest)
        fail(path, QStringLiteral("an image of %1 pixels at %2 bytes each is more than the %3 bytes a camera may send")
                       .arg(pixels).arg(widest).arg(MaxImageBytes));
}

DeviceDesc parseDevice(const QJsonObject& object, const QString& path, const LayerDesc& layer, const Scenario& scenario)
{
    checkKeys(object, path, {"fullName", "friendlyName", "vendorName", "modelName", "serialNumber", "userDefinedName",
                             "deviceVersion", "deviceFactory", "manufacturerInfo", "deviceClass", "tlType", "ipAddress",
                             "reachable", "plugged", "model", "features", "tlFeatures", "streamFeatures",
                             "eventFeatures", "stream", "compression", "defectPixels", "resettable", "rebootTime", "faults"});
    DeviceDesc device;
    auto set = [&](const char* key, const char* property, bool required = false, const QString& fallback = QString()) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (value.isUndefined() && !required && fallback.isNull())
            return;
        device.info.SetPropertyValue(property, textAt(object, key, path, required, fallback).toUtf8().constData());
    };
    set("fullName", "FullName", true);
    set("friendlyName", "FriendlyName", false, textAt(object, "fullName", path));
    set("vendorName", "VendorName");
    set("modelName", "ModelName");
    set("serialNumber", "SerialNumber");
    set("userDefinedName", "UserDefinedName");
    set("deviceVersion", "DeviceVersion");
    set("deviceFactory", "DeviceFactory");
    set("manufacturerInfo", "ManufacturerInfo");
    set("deviceClass", "DeviceClass", false, QString::fromUtf8(layer.info.GetDeviceClass().c_str()));
    set("tlType", "TLType", false, QString::fromUtf8(layer.info.GetTLType().c_str()));
    set("ipAddress", "IpAddress");
    device.reachable = boolAt(object, "reachable", path, true);
    device.plugged = boolAt(object, "plugged", path, true);
    device.model = textAt(object, "model", path).toStdString();
    if (!device.model.empty() && !scenario.models.count(device.model))
        fail(path + QStringLiteral(".model"), QStringLiteral("'%1' is not among the models").arg(QString::fromStdString(device.model)));
    device.features = parseFeatureArray(arrayAt(object, "features", path), path + QStringLiteral(".features"));
    device.tlFeatures = parseFeatureArray(arrayAt(object, "tlFeatures", path), path + QStringLiteral(".tlFeatures"));
    device.streamFeatures = parseFeatureArray(arrayAt(object, "streamFeatures", path), path + QStringLiteral(".streamFeatures"));
    device.eventFeatures = parseFeatureArray(arrayAt(object, "eventFeatures", path), path + QStringLiteral(".eventFeatures"));
    checkImageSize(device, scenario, path);
    if (object.contains(QStringLiteral("stream")))
        device.stream = parseStream(objectAt(object.value(QStringLiteral("stream")), path + QStringLiteral(".stream")), path + QStringLiteral(".stream"));
    if (object.contains(QStringLiteral("compression")))
        device.compression = parseCompression(objectAt(object.value(QStringLiteral("compression")), path + QStringLiteral(".compression")),
                                              path + QStringLiteral(".compression"));
    if (object.contains(QStringLiteral("defectPixels")))
        device.defectPixels = parseDefectPixels(objectAt(object.value(QStringLiteral("defectPixels")), path + QStringLiteral(".defectPixels")),
                                                path + QStringLiteral(".defectPixels"));
    device.resettable = boolAt(object, "resettable", path, true);
    device.rebootTime = integerAt(object, "rebootTime", path, 4000);
    if (device.rebootTime < -1)
        fail(path + QStringLiteral(".rebootTime"), QStringLiteral("milliseconds or -1 for never are expected"));
    device.faults = parseDeviceFaults(arrayAt(object, "faults", path), path, device.info.GetFullName().toStdString());
    return device;
}

LayerDesc parseLayer(const QJsonObject& object, const QString& path, const Scenario& scenario)
{
    checkKeys(object, path, {"deviceClass", "tlType", "friendlyName", "fullName", "vendorName", "gige", "interfaces", "devices"});
    LayerDesc layer;
    layer.info.SetPropertyValue("DeviceClass", textAt(object, "deviceClass", path, true).toUtf8().constData());
    layer.info.SetPropertyValue("TLType", textAt(object, "tlType", path, true).toUtf8().constData());
    layer.info.SetPropertyValue("FriendlyName", textAt(object, "friendlyName", path, true).toUtf8().constData());
    layer.info.SetPropertyValue("FullName", textAt(object, "fullName", path, false, textAt(object, "deviceClass", path)).toUtf8().constData());
    layer.info.SetPropertyValue("VendorName", textAt(object, "vendorName", path).toUtf8().constData());
    layer.gige = boolAt(object, "gige", path, false);
    const QJsonArray interfaces = arrayAt(object, "interfaces", path);
    for (int i = 0; i < interfaces.size(); ++i) {
        const QString p = indexed(path, "interfaces", i);
        const QJsonObject o = objectAt(interfaces[i], p);
        checkKeys(o, p, {"id", "friendlyName", "fullName", "features"});
        InterfaceDesc desc;
        desc.info.SetPropertyValue("InterfaceID", textAt(o, "id", p, true).toUtf8().constData());
        desc.info.SetPropertyValue("FriendlyName", textAt(o, "friendlyName", p, false, textAt(o, "id", p)).toUtf8().constData());
        desc.info.SetPropertyValue("FullName", textAt(o, "fullName", p, false, textAt(o, "id", p)).toUtf8().constData());
        desc.info.SetPropertyValue("VendorName", layer.info.GetVendorName());
        desc.info.SetPropertyValue("TLType", layer.info.GetTLType());
        desc.info.SetPropertyValue("DeviceClass", layer.info.GetDeviceClass());
        desc.features = parseFeatureArray(arrayAt(o, "features", p), p + QStringLiteral(".features"));
        layer.interfaces.push_back(desc);
    }
    const QJsonArray devices = arrayAt(object, "devices", path);
    for (int i = 0; i < devices.size(); ++i) {
        const QString p = indexed(path, "devices", i);
        layer.devices.push_back(parseDevice(objectAt(devices[i], p), p, layer, scenario));
    }
    return layer;
}

bool hasDevice(const Scenario& scenario, const std::string& fullName)
{
    for (const auto& layer : scenario.layers) {
        for (const auto& device : layer.devices) {
            if (device.info.GetFullName() == fullName.c_str())
                return true;
        }
    }
    return false;
}

TimelineEvent::Action actionOf(const QString& text, const QString& path)
{
    static const std::map<QString, TimelineEvent::Action> actions{{QStringLiteral("plug"), TimelineEvent::Plug},
                                                                  {QStringLiteral("unplug"), TimelineEvent::Unplug},
                                                                  {QStringLiteral("lose"), TimelineEvent::Lose}};
    const auto it = actions.find(text);
    if (it == actions.end())
        fail(path, QStringLiteral("'%1' is no timeline action (plug, unplug, lose)").arg(text));
    return it->second;
}

std::vector<TimelineEvent> parseTimeline(const QJsonArray& array, const Scenario& scenario)
{
    std::vector<TimelineEvent> timeline;
    for (int i = 0; i < array.size(); ++i) {
        const QString p = indexed(QStringLiteral("$"), "timeline", i);
        const QJsonObject object = objectAt(array[i], p);
        checkKeys(object, p, {"at", "action", "device"});
        TimelineEvent event;
        event.atMs = integerAt(object, "at", p, 0);
        if (event.atMs < 0)
            fail(p + QStringLiteral(".at"), QStringLiteral("must not be negative"));
        event.action = actionOf(textAt(object, "action", p, true), p + QStringLiteral(".action"));
        event.device = textAt(object, "device", p, true).toStdString();
        // A misspelt name would otherwise change nothing, unseen.
        if (!hasDevice(scenario, event.device))
            fail(p + QStringLiteral(".device"), QStringLiteral("'%1' is no device of the scenario").arg(QString::fromStdString(event.device)));
        timeline.push_back(event);
    }
    return timeline;
}

} // namespace

int64_t bytesPerPixel(const std::string& pixelFormat)
{
    const auto endsWith = [&](const char* suffix) {
        const size_t length = std::char_traits<char>::length(suffix);
        return pixelFormat.size() > length && pixelFormat.compare(pixelFormat.size() - length, length, suffix) == 0;
    };
    if (pixelFormat == "RGB8" || pixelFormat == "BGR8")
        return 3;
    if (pixelFormat == "BGRA8" || pixelFormat == "RGBA8")
        return 4;
    if (endsWith("16") || endsWith("12") || endsWith("10"))
        return 2;
    return 1;
}

bool parseFeatures(const QJsonArray& array, const QString& path, NodeMapDescription& features, QString& error)
{
    try {
        features = parseFeatureArray(array, path);
        return true;
    } catch (const ParseError& e) {
        error = QStringLiteral("%1: %2").arg(e.path, e.message);
        return false;
    }
}

bool parseScenario(const QByteArray& json, const QString& source, Scenario& scenario, QString& error)
{
    QString jsonError;
    int offset = 0;
    const QJsonDocument document = parseJsonStrictly(json, jsonError, offset);
    if (document.isNull()) {
        error = QStringLiteral("%1: not valid JSON at %2: %3").arg(source, positionText(json, offset), jsonError);
        return false;
    }
    try {
        Scenario parsed;
        if (!document.isObject())
            fail(QStringLiteral("$"), QStringLiteral("an object is expected"));
        const QJsonObject root = document.object();
        checkKeys(root, QStringLiteral("$"), {"description", "models", "transportLayers", "timeline"});
        const QJsonValue models = root.value(QStringLiteral("models"));
        if (!models.isUndefined()) {
            const QJsonObject modelObject = objectAt(models, QStringLiteral("$.models"));
            for (auto it = modelObject.begin(); it != modelObject.end(); ++it) {
                const QString p = QStringLiteral("$.models.") + it.key();
                if (!it.value().isArray())
                    fail(p, QStringLiteral("an array of features is expected"));
                parseFeatureArray(it.value().toArray(), p); // checked now, parsed again on use
                parsed.models[it.key().toStdString()] = it.value().toArray();
            }
        }
        const QJsonArray layers = arrayAt(root, "transportLayers", QStringLiteral("$"));
        for (int i = 0; i < layers.size(); ++i) {
            const QString p = indexed(QStringLiteral("$"), "transportLayers", i);
            parsed.layers.push_back(parseLayer(objectAt(layers[i], p), p, parsed));
        }
        parsed.timeline = parseTimeline(arrayAt(root, "timeline", QStringLiteral("$")), parsed);
        scenario = std::move(parsed);
        return true;
    } catch (const ParseError& e) {
        error = QStringLiteral("%1: %2: %3").arg(source, e.path, e.message);
        return false;
    }
}

} // namespace TavixSim
