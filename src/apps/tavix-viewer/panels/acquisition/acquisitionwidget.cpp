#include "acquisitionwidget.h"

#include "camerasettings.h"
#include "featurecontrol.h"

#include <cameraname.h>
#include <parameteraccess.h>

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSaveFile>
#include <QScrollArea>
#include <QStandardPaths>
#include <QTimer>
#include <QVBoxLayout>

namespace Viewer {

namespace {

const QString CameraMap = QStringLiteral("@CameraDevice");
// How often the controls follow what the camera changes by itself.
constexpr int FollowInterval = 1000;

Core::OptiRosterComponents::CameraInfoPtr cameraOf(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device)
{
    return device.objectCast<Core::OptiRosterComponents::ICameraInfo>();
}

} // namespace

CAcquisitionWidget::CAcquisitionWidget(QSharedPointer<const CViewerServices> services, QWidget* parent)
    : QWidget(parent)
    , m_ptrServices(std::move(services))
    , m_pAccess(new CParameterAccess(m_ptrServices, this))
    , m_pDevice(new QLabel(this))
    , m_pMessage(new QLabel(this))
    , m_pFollowTimer(new QTimer(this))
{
    setObjectName(QStringLiteral("acquisition"));
    m_pDevice->setObjectName(QStringLiteral("acquisitionDevice"));
    m_pDevice->setWordWrap(true);
    m_pMessage->setObjectName(QStringLiteral("acquisitionMessage"));
    m_pMessage->setWordWrap(true);
    m_pMessage->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(4, 4, 4, 4);
    const auto group = [&](const QString& title, const QString& name) {
        const Group made = addGroup(title, name);
        column->addWidget(made.first);
        m_featureGroups << made.first;
        return made;
    };
    const Group rate = group(tr("Frame Rate"), QStringLiteral("acquisitionFrameRate"));
    addControl(rate, {"AcquisitionFrameRateEnable"});
    addControl(rate, {"AcquisitionFrameRate", "AcquisitionFrameRateAbs"});
    addControl(rate, {"ResultingFrameRate", "ResultingFrameRateAbs"});
    const Group exposure = group(tr("Exposure"), QStringLiteral("acquisitionExposure"));
    addControl(exposure, {"ExposureTime", "ExposureTimeAbs"});
    addControl(exposure, {"ExposureAuto"});
    const Group analog = group(tr("Gain and Black Level"), QStringLiteral("acquisitionAnalog"));
    addControl(analog, {"Gain", "GainRaw"});
    addControl(analog, {"GainAuto"});
    addControl(analog, {"BlackLevel", "BlackLevelRaw"});
    const Group format = group(tr("Image Format"), QStringLiteral("acquisitionFormat"));
    addControl(format, {"PixelFormat"}, true);
    addControl(format, {"Width"}, true);
    addControl(format, {"Height"}, true);
    addControl(format, {"OffsetX"});
    addControl(format, {"OffsetY"});
    addControl(format, {"BinningHorizontal"}, true);
    addControl(format, {"BinningVertical"}, true);
    const Group trigger = group(tr("Trigger"), QStringLiteral("acquisitionTrigger"));
    addControl(trigger, {"TriggerMode"});
    addControl(trigger, {"TriggerSource"});
    addControl(trigger, {"TriggerSoftware"});
    const Group sets = group(tr("User Sets"), QStringLiteral("acquisitionUserSets"));
    addControl(sets, {"UserSetSelector"});
    addControl(sets, {"UserSetLoad"}, true);
    addControl(sets, {"UserSetSave"});

    auto* file = new QGroupBox(tr("Settings File"), content);
    file->setObjectName(QStringLiteral("acquisitionSettingsFile"));
    auto* buttons = new QHBoxLayout(file);
    m_pSaveSettings = new QPushButton(tr("Save..."), file);
    m_pSaveSettings->setObjectName(QStringLiteral("acquisitionSaveSettings"));
    m_pSaveSettings->setToolTip(tr("Writes every feature of the camera that can be written to a file, in the camera's order"));
    m_pLoadSettings = new QPushButton(tr("Load..."), file);
    m_pLoadSettings->setObjectName(QStringLiteral("acquisitionLoadSettings"));
    m_pLoadSettings->setToolTip(tr("Writes the features of a file onto the camera, which must be of the file's model, and "
                                   "tells what it refused"));
    buttons->addWidget(m_pSaveSettings);
    buttons->addWidget(m_pLoadSettings);
    column->addWidget(file);
    column->addStretch(1);
    connect(m_pSaveSettings, &QPushButton::clicked, this, &CAcquisitionWidget::saveSettings);
    connect(m_pLoadSettings, &QPushButton::clicked, this, &CAcquisitionWidget::loadSettings);

    auto* scroll = new QScrollArea(this);
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_pDevice);
    layout->addWidget(scroll, 1);
    layout->addWidget(m_pMessage);

    using Plugin::OptiRoster::IDeviceStatusService;
    const auto* status = m_ptrServices->status.data();
    connect(status, &IDeviceStatusService::activeDeviceChanged, this, &CAcquisitionWidget::follow);
    connect(status, &IDeviceStatusService::deviceOpened, this, &CAcquisitionWidget::onDeviceOpened);
    connect(status, &IDeviceStatusService::deviceClosed, this, &CAcquisitionWidget::onDeviceClosed);
    // What a grab locks, and what it frees again, shows at once.
    using Plugin::OptiRoster::ICameraStatusService;
    const auto onGrabChange = [this](const Core::OptiRosterComponents::CameraInfoPtr& camera) {
        if (camera && camera == m_ptrDevice)
            refresh();
    };
    connect(status, &ICameraStatusService::cameraGrabStarted, this, onGrabChange);
    connect(status, &ICameraStatusService::cameraGrabStopped, this, onGrabChange);
    if (const CHeldCameras* held = m_ptrServices->heldCameras.data()) {
        connect(held, &CHeldCameras::heldChanged, this, [this](const Core::OptiRosterComponents::CameraInfoPtr& camera) {
            if (camera && camera == m_ptrServices->status->getActiveDevice())
                follow(camera);
        });
    }
    connect(m_pAccess, &CParameterAccess::featuresRefreshed, this, &CAcquisitionWidget::onFeaturesRefreshed);
    connect(m_pAccess, &CParameterAccess::written, this, &CAcquisitionWidget::onWritten);
    connect(m_pAccess, &CParameterAccess::restartProgress, this, &CAcquisitionWidget::onRestartProgress);
    connect(m_pAccess, &CParameterAccess::parameterWritten, this, [this](const DeviceBaseInfoPtr& device) {
        if (device == m_ptrDevice)
            refresh();
    });
    m_pFollowTimer->setInterval(FollowInterval);
    connect(m_pFollowTimer, &QTimer::timeout, this, [this] {
        if (isVisible())
            refresh();
    });
    follow(m_ptrServices->status->getActiveDevice());
}

CAcquisitionWidget::~CAcquisitionWidget() = default;

CAcquisitionWidget::Group CAcquisitionWidget::addGroup(const QString& title, const QString& objectName)
{
    auto* box = new QGroupBox(title);
    box->setObjectName(objectName);
    auto* form = new QFormLayout(box);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    // A long name ("Acquisition Frame Rate Enable") puts its control below it in a narrow dock.
    form->setRowWrapPolicy(QFormLayout::WrapLongRows);
    box->hide();
    return {box, form};
}

CFeatureControl* CAcquisitionWidget::addControl(const Group& group, const QStringList& names, bool whileStopped)
{
    auto* control = new CFeatureControl(names, whileStopped, group.first);
    auto* label = new QLabel(group.first);
    label->hide();
    group.second->addRow(label, control);
    m_controls << control;
    m_labels.insert(control, label);
    for (const QString& name : names)
        m_paths << CameraMap + QLatin1Char('/') + name;
    connect(control, &CFeatureControl::writeRequested, this, &CAcquisitionWidget::requestWrite);
    connect(control, &CFeatureControl::executeRequested, this, &CAcquisitionWidget::requestExecute);
    connect(control, &CFeatureControl::refused, this,
            [this](const QString& path, const QString& reason) { setMessage(tr("%1 refused: %2").arg(nameOf(path), reason)); });
    return control;
}

void CAcquisitionWidget::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    refresh();
}

void CAcquisitionWidget::follow(const DeviceBaseInfoPtr& device)
{
    m_ptrDevice.reset();
    m_pAccess->watch({});
    m_pFollowTimer->stop();
    m_writing.clear();
    m_nextWrite.clear();
    const bool open = device && cameraOf(device) && m_ptrServices->status->isDeviceOpen(device);
    if (open) {
        m_ptrDevice = device;
        m_pDevice->setText(cameraName(*cameraOf(device)));
        m_pAccess->watch(device);
        m_pFollowTimer->start();
        refresh();
    } else {
        m_pDevice->setText(!device ? tr("No active camera.")
                                   : !cameraOf(device) ? tr("%1 is no camera.").arg(device->getDisplayName())
                                                       : tr("%1 is closed; open it to control it.").arg(device->getDisplayName()));
        for (CFeatureControl* control : qAsConst(m_controls))
            control->showMissing();
        showGroups();
    }
    m_pSaveSettings->setEnabled(open);
    m_pLoadSettings->setEnabled(open);
    setMessage(QString());
}

void CAcquisitionWidget::onDeviceOpened(const DeviceBaseInfoPtr& device)
{
    if (device && device == m_ptrServices->status->getActiveDevice())
        follow(device);
}

void CAcquisitionWidget::onDeviceClosed(const DeviceBaseInfoPtr& device)
{
    if (device && device == m_ptrServices->status->getActiveDevice())
        follow(device);
}

void CAcquisitionWidget::refresh()
{
    if (!m_ptrDevice)
        return;
    if (m_refreshing) {
        m_refreshAgain = true;
        return;
    }
    m_refreshing = true;
    m_pAccess->readSome(m_ptrDevice, m_paths);
}

void CAcquisitionWidget::onFeaturesRefreshed(const DeviceBaseInfoPtr& device, const QVector<CFeatureSnapshot>& features,
                                             const QString& error)
{
    m_refreshing = false;
    if (device != m_ptrDevice)
        return refresh(); // the device changed meanwhile
    QHash<QString, const CFeatureSnapshot*> byName;
    for (const CFeatureSnapshot& feature : features)
        byName.insert(feature.name, &feature);
    for (CFeatureControl* control : qAsConst(m_controls)) {
        const CFeatureSnapshot* found = nullptr;
        for (const QString& name : control->names())
            found = found ? found : byName.value(name);
        // A value being written is shown as the person set it until the camera answers.
        if (found && m_writing.contains(found->path))
            continue;
        if (found)
            control->showFeature(*found);
        else
            control->showMissing();
        QLabel* label = m_labels.value(control);
        label->setText(found && found->type != GenApi::intfICommand ? control->label() : QString());
        label->setToolTip(found ? found->toolTipText() : QString());
        label->setVisible(found != nullptr);
    }
    showGroups();
    if (!error.isEmpty())
        setMessage(error);
    if (m_refreshAgain) {
        m_refreshAgain = false;
        refresh();
    }
}

void CAcquisitionWidget::showGroups()
{
    for (QGroupBox* group : qAsConst(m_featureGroups)) {
        bool any = false;
        for (CFeatureControl* control : qAsConst(m_controls))
            any = any || (control->parentWidget() == group && control->isPresent());
        group->setVisible(any);
    }
}

CFeatureControl* CAcquisitionWidget::controlOf(const QString& path) const
{
    for (CFeatureControl* control : m_controls) {
        if (control->path() == path)
            return control;
    }
    return nullptr;
}

QString CAcquisitionWidget::nameOf(const QString& path) const
{
    const CFeatureControl* control = controlOf(path);
    return control ? control->label() : path.section(QLatin1Char('/'), 1);
}

void CAcquisitionWidget::requestWrite(const QString& path, const QString& value, bool whileStopped)
{
    if (!m_ptrDevice)
        return;
    // A slider asks for many values on its way: the newest waits for the write under way.
    if (m_writing.contains(path)) {
        m_nextWrite.insert(path, {value, whileStopped});
        return;
    }
    send(path, value, whileStopped);
}

void CAcquisitionWidget::send(const QString& path, const QString& value, bool whileStopped)
{
    m_writing.insert(path);
    // Only what the camera refuses while it streams needs the grab stopped: it says so by
    // reading as read-only meanwhile, or it grabs now and hasn't been read since it started.
    const CFeatureControl* control = controlOf(path);
    const auto camera = cameraOf(m_ptrDevice);
    const bool stop = whileStopped
                      && ((control && control->feature().access == GenApi::RO) || (camera && m_ptrServices->status->isCameraGrabbing(camera)));
    if (stop)
        m_pAccess->writeStopped(m_ptrDevice, path, value);
    else
        m_pAccess->write(m_ptrDevice, path, value);
}

void CAcquisitionWidget::requestExecute(const QString& path, bool whileStopped)
{
    if (!m_ptrDevice)
        return;
    m_writing.insert(path);
    if (whileStopped)
        m_pAccess->executeStopped(m_ptrDevice, path);
    else
        m_pAccess->execute(m_ptrDevice, path);
}

void CAcquisitionWidget::onRestartProgress(const DeviceBaseInfoPtr& device, const QString& step)
{
    if (device != m_ptrDevice)
        return;
    m_restarted = true;
    setMessage(step);
}

void CAcquisitionWidget::onWritten(const DeviceBaseInfoPtr& device, const QString& path, const QString& error,
                                   const QString& readBack)
{
    if (device != m_ptrDevice)
        return;
    m_writing.remove(path);
    const bool restarted = m_restarted;
    m_restarted = false;
    if (m_nextWrite.contains(path)) {
        const auto next = m_nextWrite.take(path);
        send(path, next.first, next.second);
        return;
    }
    CFeatureControl* control = controlOf(path);
    if (control)
        control->showValue(readBack);
    const QString name = nameOf(path);
    const bool isCommand = control && control->feature().type == GenApi::intfICommand;
    const QString unit = control && !control->feature().unit.isEmpty() ? QLatin1Char(' ') + control->feature().unit : QString();
    QString text = !error.isEmpty() ? tr("%1 refused: %2").arg(name, error)
                   : readBack.isEmpty() || isCommand ? tr("%1 done.").arg(name)
                                        : tr("%1 = %2%3").arg(name, readBack, unit);
    if (restarted)
        text += QLatin1Char(' ') + tr("The grab was stopped for the change and started again.");
    setMessage(text);
    refresh(); // a write changes other features too: limits, resulting rates
}

void CAcquisitionWidget::setMessage(const QString& text)
{
    m_pMessage->setText(text);
}

void CAcquisitionWidget::tell(const QString& title, const QString& text, const QString& details, bool warning)
{
    setMessage(text);
    // Not waited for: the panel's work goes on, and the box goes with the panel.
    auto* box = new QMessageBox(warning ? QMessageBox::Warning : QMessageBox::Information, title, text, QMessageBox::Ok, this);
    box->setInformativeText(details);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

QString CAcquisitionWidget::vendor() const
{
    return m_ptrDevice ? m_ptrDevice->getVendorName() : QString();
}

QString CAcquisitionWidget::model() const
{
    const auto camera = cameraOf(m_ptrDevice);
    return camera ? camera->getModelName() : QString();
}

void CAcquisitionWidget::saveSettings()
{
    if (!m_ptrDevice) {
        setMessage(tr("Open a camera to save its settings."));
        return;
    }
    if (m_settingsFolder.isEmpty())
        m_settingsFolder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QString suggested = QStringLiteral("%1 %2.tvxsettings").arg(model(), cameraOf(m_ptrDevice)->getSerialNumber()).trimmed();
    const QString file = QFileDialog::getSaveFileName(this, tr("Save Camera Settings"), QDir(m_settingsFolder).filePath(suggested),
                                                      tr("Camera settings (*.tvxsettings);;All files (*)"));
    if (!file.isEmpty())
        saveSettingsTo(file);
}

void CAcquisitionWidget::saveSettingsTo(const QString& fileName)
{
    if (!m_ptrDevice)
        return;
    const DeviceBaseInfoPtr device = m_ptrDevice;
    auto settings = QSharedPointer<CCameraSettings>::create();
    setMessage(tr("Reading the settings of %1...").arg(device->getDisplayName()));
    m_pAccess->run(
        device, [settings](CParameterAccess::Collection& collection) { *settings = CCameraSettings::read(collection); },
        [this, device, settings, fileName](const QString& error) {
            if (device != m_ptrDevice)
                return;
            QString failure = error;
            if (failure.isEmpty()) {
                settings->vendor = vendor();
                settings->model = model();
                settings->camera = cameraName(*cameraOf(device));
                QSaveFile file(fileName);
                if (!file.open(QIODevice::WriteOnly) || file.write(settings->toText(QDateTime::currentDateTime())) < 0 || !file.commit())
                    failure = tr("The file can't be written: %1").arg(file.errorString());
            }
            if (!failure.isEmpty()) {
                tell(tr("Save Camera Settings"), tr("The settings were not saved: %1").arg(failure), QString(), true);
                return;
            }
            m_settingsFolder = QFileInfo(fileName).absolutePath();
            setMessage(tr("Saved %n setting(s) of %1 to %2.", nullptr, settings->values.size())
                           .arg(device->getDisplayName(), QDir::toNativeSeparators(fileName)));
        });
}

void CAcquisitionWidget::loadSettings()
{
    if (!m_ptrDevice) {
        setMessage(tr("Open a camera to load settings onto it."));
        return;
    }
    if (m_settingsFolder.isEmpty())
        m_settingsFolder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QString file = QFileDialog::getOpenFileName(this, tr("Load Camera Settings"), m_settingsFolder,
                                                      tr("Camera settings (*.tvxsettings);;All files (*)"));
    if (!file.isEmpty())
        loadSettingsFrom(file);
}

void CAcquisitionWidget::loadSettingsFrom(const QString& fileName)
{
    if (!m_ptrDevice)
        return;
    const auto refuse = [this](const QString& reason) {
        tell(tr("Load Camera Settings"), tr("The settings were not loaded: %1").arg(reason), QString(), true);
    };
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return refuse(tr("%1 can't be read: %2").arg(QDir::toNativeSeparators(fileName), file.errorString()));
    CCameraSettings settings;
    QString error;
    if (!CCameraSettings::parse(file.read(4 * 1024 * 1024 + 1), settings, error))
        return refuse(error);
    const QString mismatch = settings.mismatch(vendor(), model());
    if (!mismatch.isEmpty())
        return refuse(mismatch);
    m_settingsFolder = QFileInfo(fileName).absolutePath();
    const DeviceBaseInfoPtr device = m_ptrDevice;
    auto report = QSharedPointer<CCameraSettings::CReport>::create();
    setMessage(tr("Loading %1 onto %2...").arg(QFileInfo(fileName).fileName(), device->getDisplayName()));
    m_pAccess->run(
        device, [settings, report](CParameterAccess::Collection& collection) { *report = settings.applyTo(collection); },
        [this, device, report, fileName](const QString& error) {
            if (device != m_ptrDevice)
                return;
            refresh();
            const QString title = tr("Load Camera Settings");
            if (!error.isEmpty() && report->written == 0 && report->unchanged == 0)
                return tell(title, tr("The settings were not loaded: %1").arg(error), QString(), true);
            const QString summary = tr("Loaded %1 onto %2: %3").arg(QFileInfo(fileName).fileName(), device->getDisplayName(), report->summary());
            tell(title, error.isEmpty() ? summary : summary + QLatin1Char(' ') + error, report->details(), !report->refused.isEmpty());
        },
        true);
}

} // namespace Viewer
