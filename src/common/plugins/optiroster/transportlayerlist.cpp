#include "transportlayerlist.h"

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/knownobjects.h>
#include <plugins/optiroster/internal/logcategories.h>
#include <plugins/optiroster/internal/sortbyname.h>
#include <plugins/optiroster/internal/transportlayerinfo.h>

#include <tavix/tlfactory.h>

#include <QSettings>

namespace Plugin::OptiRoster {

using Internal::CTransportLayerInfo;

Tavix::ITransportLayer* CTransportLayerList::m_pCxpTransportLayer = nullptr;
QVector<QSharedPointer<CTransportLayerInfo>>* CTransportLayerList::m_pKnownTransportLayers =
    new QVector<QSharedPointer<CTransportLayerInfo>>;

namespace {

Internal::KnownIndex<CTransportLayerInfo> knownTransportLayerIndex;

constexpr char TimeOfFlightProducer[] = "VorlanGTC/Vorlan/GenTL_Producer_for_Vorlan_quaro_707_cameras";
constexpr char CoaXPressProducer[] = "VorlanGTC/Vorlan/CXP";
constexpr char PlaceholderInterface[] = "DefaultInterface";

quint64 logCategoryId()
{
    return Internal::onceCategoryId<Internal::LogCategories::TransportLayerList>();
}

// Read anew in every pass, so that a change takes effect without a restart.
struct EnumerationSettings
{
    bool disableEnumerateAllDevices = false;
    bool showTofProducer = false;
    bool releaseDornCxpProducer = true; // true keeps the layer open between passes, whatever the name says

    static EnumerationSettings read()
    {
        EnumerationSettings settings;
        QSettings store;
        store.beginGroup(QStringLiteral("Enumeration"));
        settings.disableEnumerateAllDevices = store.value(QStringLiteral("DisableEnumerateAllDevices"), false).toBool();
        settings.showTofProducer = store.value(QStringLiteral("ShowTofProducer"), false).toBool();
        settings.releaseDornCxpProducer = store.value(QStringLiteral("ReleaseDornCXPProducer"), true).toBool();
        store.endGroup();
        return settings;
    }
};

// The log shows a name's UTF-8 bytes one character each.
QString asLogged(const QString& name)
{
    return QString::fromLatin1(name.toUtf8());
}

void listDevices(Tavix::ITransportLayer* layer, Tavix::DeviceInfoList& devices, const EnumerationSettings& settings)
{
    auto gige = dynamic_cast<Tavix::IGigETransportLayer*>(layer);
    if (gige && !settings.disableEnumerateAllDevices)
        gige->EnumerateAllDevices(devices, false);
    else
        layer->EnumerateDevices(devices, false);
}

// Gives the layer's camera list after the pass.
CCameraInfoList updateCameras(CTransportLayerInfo& info, Tavix::ITransportLayer* layer, const EnumerationSettings& settings)
{
    try {
        Tavix::DeviceInfoList devices;
        listDevices(layer, devices, settings);
        bool changed = false;
        const CCameraInfoList cameras = CCameraInfoList::fromDeviceInfoList(devices, &changed);
        // Both lists are sorted by display name and hold the known objects, so an equal set of
        // cameras compares equal pointer by pointer. The present list is the one at this moment:
        // the main thread may have taken a lost camera out of it while the devices were listed.
        // An equal list stays as it is; a changed one is stored before the flag is raised, so
        // that the merge which sees the flag reads the new list.
        const bool listDiffers = info.replaceCameraInfoList(cameras);
        if (changed || listDiffers)
            info.setHaveContainedCamerasChanged(true);
        return cameras;
    } catch (const Core::Exception::BaseException& e) {
        Internal::writeLog(logCategoryId(), QStringLiteral("CTransportLayerList::refreshTransportLayerList failed: %1")
                                                .arg(QString::fromUtf8(e.what())));
    } catch (...) {
        Internal::writeLog(logCategoryId(),
                           QStringLiteral("CTransportLayerList::refreshTransportLayerList: Unknown exception occured"));
    }
    return info.cameraInfoListCopy();
}

void logFindingsOf(const CTransportLayerInfo& info, const CCameraInfoList& cameras, int oldCount)
{
    Internal::writeLog(logCategoryId(), QStringLiteral("Enumerated '%1' and found %2 new devices.")
                                            .arg(asLogged(info.getFriendlyName()), QString::number(cameras.size() - oldCount)));
    for (const auto& camera : cameras) {
        if (camera)
            Internal::writeLog(logCategoryId(), QStringLiteral("    Found '%1'").arg(asLogged(camera->getDisplayName())));
    }
}

// Opens one layer, lists its interfaces and devices, and gives the layer back unless it is the
// CoaXPress layer kept between passes.
void scanLayer(CTransportLayerInfo& info, const Tavix::CTlInfo& tlInfo, const EnumerationSettings& settings,
               bool logFindings, Tavix::ITransportLayer*& keptLayer)
{
    Tavix::CTlFactory& factory = Tavix::CTlFactory::GetInstance();
    Tavix::ITransportLayer* layer = nullptr;
    if (tlInfo.GetDeviceClass() == CoaXPressProducer && settings.releaseDornCxpProducer) {
        if (!keptLayer)
            keptLayer = factory.CreateTl(tlInfo);
        layer = keptLayer;
    } else {
        layer = factory.CreateTl(tlInfo);
    }
    if (!layer)
        return;

    Tavix::InterfaceInfoList interfaces;
    layer->EnumerateInterfaces(interfaces, false);
    const CInterfaceInfoList interfaceList = CInterfaceInfoList::fromInterfaceInfoList(interfaces);
    // A layer with only the placeholder keeps what it had; real interfaces are stored whole.
    for (const auto& interfaceInfo : interfaceList) {
        if (interfaceInfo->getInterfaceId() != QLatin1String(PlaceholderInterface)) {
            info.setInterfaceInfoList(interfaceList);
            break;
        }
    }

    const int oldCount = info.cameraInfoListCopy().size();
    const CCameraInfoList cameras = updateCameras(info, layer, settings);
    if (logFindings)
        logFindingsOf(info, cameras, oldCount);
    if (layer != keptLayer)
        factory.ReleaseTl(layer);
}

} // namespace

CTransportLayerList::CTransportLayerList() = default;
CTransportLayerList::~CTransportLayerList() = default;

void CTransportLayerList::refreshTransportLayerList(CTransportLayerList& list, bool skipDeviceScan, bool logFindings)
{
    CTransportLayerList result;
    result.m_transportLayers.reserve(5);
    Tavix::CTlFactory& factory = Tavix::CTlFactory::GetInstance();
    Tavix::TlInfoList tlInfos;
    factory.EnumerateTls(tlInfos);

    const EnumerationSettings settings = EnumerationSettings::read();
    if (settings.disableEnumerateAllDevices)
        Internal::writeLog(logCategoryId(), QStringLiteral("EnumerateAllDevices is disabled. Falling back to EnumerateDevices"));

    for (const Tavix::CTlInfo& tlInfo : tlInfos) {
        if (tlInfo.GetDeviceClass() == TimeOfFlightProducer && !settings.showTofProducer)
            continue;
        const QSharedPointer<CTransportLayerInfo> info =
            Internal::adoptKnown(*m_pKnownTransportLayers, knownTransportLayerIndex, QString::fromUtf8(tlInfo.GetFullName().c_str()),
                                 [&tlInfo] { return CTransportLayerInfo::fromTavixTransportLayer(tlInfo); });

        // The flag is not cleared here: a pass may start before the main thread has merged the
        // last one's result, and clearing it would erase that news. The merge consumes it.
        if (!skipDeviceScan)
            scanLayer(*info, tlInfo, settings, logFindings, m_pCxpTransportLayer);
        result.m_transportLayers.append(info);
    }

    Internal::sortByName(result.m_transportLayers, [](const TransportLayerInfoPtr& layer) { return layer->getFriendlyName(); });
    std::swap(list.m_transportLayers, result.m_transportLayers);
}

void CTransportLayerList::releaseDornProducer()
{
    if (!m_pCxpTransportLayer)
        return;
    Tavix::CTlFactory::GetInstance().ReleaseTl(m_pCxpTransportLayer);
    m_pCxpTransportLayer = nullptr;
}

} // namespace Plugin::OptiRoster
