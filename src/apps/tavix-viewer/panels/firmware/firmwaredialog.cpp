#include "firmwaredialog.h"

#include <cameraname.h>

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace Viewer {

namespace {

using namespace Plugin::OptiRoster;
using Core::OptiRosterComponents::CameraInfoPtr;

enum EColumn { VersionColumn = 0, DirectionColumn = 1, DescriptionColumn = 2 };

// The steps as the simulated and real updaters run them, for an overall progress.
const QVector<EFirmwareUpdateStep> StepOrder{CheckPreconditions, AcquireUpdateData, FeatureWrite, FeatureExecute,
                                             FileUpload,         FeatureAssert,     DeviceReset};

QString directionText(EFirmwareUpdateDirection direction)
{
    switch (direction) {
    case Upgrade:
        return CFirmwareDialog::tr("upgrade");
    case Downgrade:
        return CFirmwareDialog::tr("downgrade");
    case Sidegrade:
        return CFirmwareDialog::tr("sidegrade");
    case Unknown:
        break;
    }
    return CFirmwareDialog::tr("unknown");
}

QString stepText(EFirmwareUpdateStep step)
{
    switch (step) {
    case CheckPreconditions:
        return CFirmwareDialog::tr("Checking the camera");
    case AcquireUpdateData:
        return CFirmwareDialog::tr("Reading the update");
    case FeatureWrite:
        return CFirmwareDialog::tr("Writing a setting");
    case FeatureExecute:
        return CFirmwareDialog::tr("Running a command");
    case FeatureAssert:
        return CFirmwareDialog::tr("Verifying the image");
    case FileUpload:
        return CFirmwareDialog::tr("Uploading the image");
    case DeviceReset:
        return CFirmwareDialog::tr("Restarting the camera");
    case Invalid:
        break;
    }
    return CFirmwareDialog::tr("Working");
}

} // namespace

CFirmwareDialog::CFirmwareDialog(QSharedPointer<const CViewerServices> services, QWidget* parent)
    : QDialog(parent)
    , m_ptrServices(std::move(services))
    , m_pJobs(new CFirmwareJobs(m_ptrServices, this))
    , m_pRebootPasses(new QTimer(this))
{
    m_pRebootPasses->setInterval(1000);
    connect(m_pRebootPasses, &QTimer::timeout, m_ptrServices->enumeration.data(), &ICameraEnumerationService::requestEnumeration);
    setObjectName(QStringLiteral("firmwareDialog"));
    m_pJobs->setObjectName(QStringLiteral("firmwareJobs"));
    setWindowTitle(tr("Update Firmware"));
    createWidgets();
    connect(m_pJobs, &CFirmwareJobs::stepBegun, this, &CFirmwareDialog::showStep);
    connect(m_pJobs, &CFirmwareJobs::stepProgressed, this, &CFirmwareDialog::showProgress);
    const auto* status = m_ptrServices->status.data();
    connect(m_ptrServices->enumeration.data(), &ICameraEnumerationService::enumerationChanged, this, &CFirmwareDialog::refreshCameras);
    connect(m_ptrServices->enumeration.data(), &ICameraEnumerationService::enumerationChanged, this,
            &CFirmwareDialog::readVersionOnceBack);
    connect(status, &ICameraStatusService::deviceConnected, this, &CFirmwareDialog::refreshCameras);
    connect(status, &ICameraStatusService::deviceDisconnected, this, &CFirmwareDialog::refreshCameras);
    refreshCameras();
    if (const auto active = m_ptrServices->status->getActiveDevice().objectCast<Core::OptiRosterComponents::ICameraInfo>())
        m_pCamera->setCurrentIndex(m_pCamera->findData(active->getFullName()));
    updateButtons();
    resize(640, 440);
}

CFirmwareDialog::~CFirmwareDialog() = default;

void CFirmwareDialog::createWidgets()
{
    m_pCamera = new QComboBox(this);
    m_pCamera->setObjectName(QStringLiteral("firmwareCamera"));
    m_pVersion = new QLabel(tr("not read yet"), this);
    m_pVersion->setObjectName(QStringLiteral("firmwareVersion"));
    m_pFile = new QLineEdit(this);
    m_pFile->setObjectName(QStringLiteral("firmwareFile"));
    m_pFile->setPlaceholderText(tr("An update file (.json)"));
    m_pBrowse = new QPushButton(tr("Browse..."), this);
    m_pBrowse->setObjectName(QStringLiteral("firmwareBrowse"));
    m_pList = new QPushButton(tr("List Updates"), this);
    m_pList->setObjectName(QStringLiteral("firmwareList"));
    m_pUpdates = new QTreeWidget(this);
    m_pUpdates->setObjectName(QStringLiteral("firmwareUpdates"));
    m_pUpdates->setRootIsDecorated(false);
    m_pUpdates->setHeaderLabels({tr("Version"), tr("Direction"), tr("Description")});
    m_pUpdates->header()->setStretchLastSection(true);
    m_pProgress = new QProgressBar(this);
    m_pProgress->setObjectName(QStringLiteral("firmwareProgress"));
    m_pProgress->setRange(0, 100);
    m_pProgress->setValue(0);
    m_pStep = new QLabel(this);
    m_pStep->setObjectName(QStringLiteral("firmwareStep"));
    m_pResult = new QLabel(this);
    m_pResult->setObjectName(QStringLiteral("firmwareResult"));
    m_pResult->setWordWrap(true);
    m_pResult->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    m_pApply = buttons->addButton(tr("Apply Update"), QDialogButtonBox::ActionRole);
    m_pApply->setObjectName(QStringLiteral("firmwareApply"));

    auto* fileRow = new QHBoxLayout;
    fileRow->addWidget(m_pFile, 1);
    fileRow->addWidget(m_pBrowse);
    fileRow->addWidget(m_pList);
    auto* form = new QFormLayout;
    form->addRow(tr("Camera:"), m_pCamera);
    form->addRow(tr("Firmware:"), m_pVersion);
    form->addRow(tr("Update file:"), fileRow);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_pUpdates, 1);
    layout->addWidget(m_pProgress);
    layout->addWidget(m_pStep);
    layout->addWidget(m_pResult);
    layout->addWidget(buttons);

    connect(m_pBrowse, &QPushButton::clicked, this, &CFirmwareDialog::browse);
    connect(m_pList, &QPushButton::clicked, this, &CFirmwareDialog::listUpdates);
    connect(m_pFile, &QLineEdit::returnPressed, this, &CFirmwareDialog::listUpdates);
    connect(m_pFile, &QLineEdit::textChanged, this, &CFirmwareDialog::updateButtons);
    connect(m_pApply, &QPushButton::clicked, this, &CFirmwareDialog::applyUpdate);
    connect(m_pUpdates, &QTreeWidget::currentItemChanged, this, &CFirmwareDialog::updateButtons);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_pCamera, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &CFirmwareDialog::chooseCamera);
}

void CFirmwareDialog::setUpdateFile(const QString& fileName)
{
    m_pFile->setText(fileName);
}

void CFirmwareDialog::refreshCameras()
{
    const QSignalBlocker blocker(m_pCamera);
    m_pCamera->clear();
    QStringList seen;
    for (const auto& layer : m_ptrServices->enumeration->getTransportLayers()) {
        for (const CameraInfoPtr& camera : layer->getCameraInfoList()) {
            if (seen.contains(camera->getFullName()))
                continue;
            seen << camera->getFullName();
            m_pCamera->addItem(cameraName(*camera), camera->getFullName());
            m_pCamera->setItemData(m_pCamera->count() - 1, camera->getSerialNumber(), Qt::UserRole + 1);
        }
    }
    // A camera keeps its place across a reboot, which may bring it back under a new full name.
    int index = m_pCamera->findData(m_chosenName);
    if (index < 0 && !m_chosenSerial.isEmpty()) {
        index = m_pCamera->findData(m_chosenSerial, Qt::UserRole + 1);
        if (index >= 0)
            m_chosenName = m_pCamera->itemData(index).toString();
    }
    if (index < 0 && !m_chosenName.isEmpty()) {
        m_pCamera->insertItem(0, tr("%1 - not present").arg(m_chosenText), m_chosenName);
        index = 0;
    }
    if (index >= 0) {
        m_pCamera->setCurrentIndex(index);
    } else if (m_pCamera->count() > 0) {
        m_pCamera->setCurrentIndex(0);
        chooseCamera(0);
    }
    updateButtons();
}

void CFirmwareDialog::chooseCamera(int index)
{
    m_chosenName = m_pCamera->itemData(index).toString();
    m_chosenSerial = m_pCamera->itemData(index, Qt::UserRole + 1).toString();
    m_chosenText = m_pCamera->itemText(index);
    // The list and the version were the other camera's.
    m_pUpdates->clear();
    m_updates.clear();
    m_pVersion->setText(tr("not read yet"));
    updateButtons();
}

CameraInfoPtr CFirmwareDialog::selectedCamera() const
{
    const QString fullName = m_pCamera->currentData().toString();
    for (const auto& layer : m_ptrServices->enumeration->getTransportLayers()) {
        for (const CameraInfoPtr& camera : layer->getCameraInfoList()) {
            if (camera->getFullName() == fullName)
                return camera;
        }
    }
    return {};
}

void CFirmwareDialog::browse()
{
    const QString fileName = QFileDialog::getOpenFileName(this, tr("Choose an Update File"), m_pFile->text(),
                                                          tr("Firmware updates (*.json);;All files (*)"));
    if (fileName.isEmpty())
        return;
    m_pFile->setText(fileName);
    listUpdates();
}

void CFirmwareDialog::listUpdates()
{
    const CameraInfoPtr camera = selectedCamera();
    if (!camera || m_pFile->text().trimmed().isEmpty() || m_pJobs->isBusy()) {
        showResult(camera ? tr("Choose an update file first.") : tr("Choose a camera first."), true);
        return;
    }
    m_pUpdates->clear();
    m_updates.clear();
    m_pProgress->setValue(0);
    m_pStep->clear();
    showResult(tr("Reading the update file and testing its updates against the camera..."), false);
    m_pJobs->list(camera, m_pFile->text().trimmed(), [this](const CFirmwareListing& listing) { showListing(listing); });
    updateButtons();
}

void CFirmwareDialog::showListing(const CFirmwareListing& listing)
{
    updateButtons();
    if (!listing.error.isEmpty()) {
        showResult(tr("The update file can't be used: %1").arg(listing.error), true);
        emit logged(tr("Update file refused: %1").arg(listing.error));
        return;
    }
    if (!listing.deviceVersion.isEmpty())
        m_pVersion->setText(listing.deviceVersion);
    for (const CFirmwareChoice& choice : listing.matching) {
        auto* item = new QTreeWidgetItem(m_pUpdates, {choice.info->getVersion(), directionText(choice.direction),
                                                      choice.info->getDescription()});
        item->setToolTip(DescriptionColumn, choice.info->getReleaseNotes());
        m_updates.append(choice.info);
    }
    m_pUpdates->resizeColumnToContents(VersionColumn);
    m_pUpdates->resizeColumnToContents(DirectionColumn);
    if (!m_updates.isEmpty())
        m_pUpdates->setCurrentItem(m_pUpdates->topLevelItem(0));
    QString text = tr("%1 of the file's %n update(s) fit the camera.", nullptr, listing.fileUpdates).arg(m_updates.size());
    if (listing.matchedInUse)
        text += QLatin1Char(' ') + tr("The camera stayed as it was in use; only applying an update takes it.");
    if (!listing.sorted && !m_updates.isEmpty())
        text += QLatin1Char(' ') + tr("Versions that can't be ordered are listed last.");
    if (!listing.warning.isEmpty())
        text += QLatin1Char(' ') + listing.warning;
    showResult(text, !listing.warning.isEmpty());
    updateButtons();
}

void CFirmwareDialog::applyUpdate()
{
    const CameraInfoPtr camera = selectedCamera();
    const int row = m_pUpdates->indexOfTopLevelItem(m_pUpdates->currentItem());
    if (!camera || row < 0 || row >= m_updates.size() || m_pJobs->isBusy())
        return;
    const FirmwareUpdateInfoPtr update = m_updates.at(row);
    if (!confirmApply(camera, update))
        return;
    const QString name = cameraName(*camera);
    m_awaitedSerial.clear();
    m_pProgress->setValue(0);
    m_pStep->clear();
    showResult(tr("Updating %1 to %2...").arg(name, update->getVersion()), false);
    emit logged(tr("%1: updating to %2").arg(name, update->getVersion()));
    m_pJobs->apply(camera, update, [this, name](const CFirmwareOutcome& outcome) {
        showOutcome(name, outcome);
    });
    updateButtons();
}

bool CFirmwareDialog::confirmApply(const CameraInfoPtr& camera, const FirmwareUpdateInfoPtr& update)
{
    const QString name = cameraName(*camera);
    if (m_ptrServices->heldCameras && m_ptrServices->heldCameras->isHeld(camera)) {
        showResult(tr("This viewer holds %1 in exclusive use: release it in the device tree first, so that the update "
                      "can take it.").arg(name),
                   true);
        return false;
    }
    const bool grabbing = m_ptrServices->status->isCameraGrabbing(camera);
    const bool open = m_ptrServices->status->isDeviceOpen(camera);
    QString inUse;
    if (grabbing)
        inUse = tr("It is grabbing now: the grab stops, and the camera closes.") + QLatin1Char(' ');
    else if (open)
        inUse = tr("It is open now: it closes.") + QLatin1Char(' ');
    const auto answer = QMessageBox::question(
        this, tr("Apply Update"),
        tr("Update %1 to firmware %2?\n\nThe update takes the camera into exclusive use. %3Then it writes the firmware and "
           "restarts the camera, which comes back closed. Don't switch the camera off meanwhile.")
            .arg(name, update->getVersion(), inUse),
        QMessageBox::Apply | QMessageBox::Cancel, QMessageBox::Cancel);
    // The question's event loop may have let the camera go: it is looked up again.
    return answer == QMessageBox::Apply && selectedCamera() == camera;
}

void CFirmwareDialog::readVersionOnceBack()
{
    if (m_awaitedSerial.isEmpty() || m_pJobs->isBusy())
        return;
    for (const auto& layer : m_ptrServices->enumeration->getTransportLayers()) {
        for (const CameraInfoPtr& camera : layer->getCameraInfoList()) {
            if (camera->getSerialNumber() != m_awaitedSerial)
                continue;
            const QString serial = m_awaitedSerial;
            m_awaitedSerial.clear();
            const QString name = cameraName(*camera);
            m_pJobs->readVersion(camera, [this, name, serial](const QString& version, const QString& error) {
                if (version.isEmpty()) {
                    // Listed, but perhaps not ready yet: the next enumeration tries again.
                    m_awaitedSerial = serial;
                    showResult(tr("%1 is listed again, but its version can't be read yet (%2); it is read again with the "
                                  "next enumeration.").arg(name, error),
                               true);
                    return;
                }
                m_pVersion->setText(version);
                showResult(tr("%1 is back and reports firmware %2.").arg(name, version), false);
                emit logged(tr("%1: back after the update; it reports firmware %2").arg(name, version));
                updateButtons();
            });
            updateButtons();
            return;
        }
    }
}

void CFirmwareDialog::showStep(EFirmwareUpdateStep step, const QString& description)
{
    const int index = std::max(0, StepOrder.indexOf(step));
    m_pProgress->setValue(index * 100 / StepOrder.size());
    m_pStep->setText(description.isEmpty() ? stepText(step) : tr("%1: %2").arg(stepText(step), description));
    if (step == DeviceReset)
        m_pRebootPasses->start();
}

void CFirmwareDialog::showProgress(EFirmwareUpdateStep step, double percent)
{
    const int index = std::max(0, StepOrder.indexOf(step));
    m_pProgress->setValue(int((index + qBound(0.0, percent, 100.0) / 100.0) * 100.0 / StepOrder.size()));
}

void CFirmwareDialog::showOutcome(const QString& name, const CFirmwareOutcome& outcome)
{
    // The camera comes back as a new device: a pass brings it into the tree and this list.
    m_pRebootPasses->stop();
    m_ptrServices->enumeration->requestEnumeration();
    if (outcome.applied) {
        m_pVersion->setText(outcome.versionAfter);
        m_pProgress->setValue(100);
        m_pStep->setText(tr("Done"));
        showResult(tr("Updated. The camera now reports firmware %1.").arg(outcome.versionAfter), false);
        emit logged(tr("%1: updated; it now reports firmware %2").arg(name, outcome.versionAfter));
    } else if (outcome.outcome == AppliedNotRediscovered) {
        // Not a failure to try again: the camera most likely runs the new firmware already.
        m_awaitedSerial = m_chosenSerial;
        m_pVersion->setText(tr("not known: the camera wasn't found after its restart"));
        m_pStep->setText(tr("Written; the camera wasn't found after its restart"));
        showResult(tr("The firmware was written and verified, and the camera restarted with it, but it wasn't found again "
                      "afterwards (%1). It most likely runs the new firmware: once it is found again (on a subnet this "
                      "computer can't reach, announce it by its address), this dialog reads the version it reports.")
                       .arg(outcome.error),
                   true);
        emit logged(tr("%1: firmware written and verified; the camera wasn't found after its restart: %2").arg(name, outcome.error));
        // The enumeration may list it already, by a way the update's search doesn't take.
        QTimer::singleShot(0, this, &CFirmwareDialog::readVersionOnceBack);
    } else {
        m_pVersion->setText(outcome.versionAfter);
        m_pStep->setText(tr("Failed"));
        showResult(tr("The update failed: %1").arg(outcome.error), true);
        emit logged(tr("%1: the update failed: %2").arg(name, outcome.error));
    }
    // What the file offers looks different from the new version.
    m_pUpdates->clear();
    m_updates.clear();
    updateButtons();
}

void CFirmwareDialog::showResult(const QString& text, bool failure)
{
    m_pResult->setText(text);
    m_pResult->setStyleSheet(failure ? QStringLiteral("color: #b00020;") : QString());
}

void CFirmwareDialog::updateButtons()
{
    const bool busy = m_pJobs->isBusy();
    const bool haveCamera = !selectedCamera().isNull();
    m_pCamera->setEnabled(!busy);
    m_pFile->setEnabled(!busy);
    m_pBrowse->setEnabled(!busy);
    m_pList->setEnabled(!busy && haveCamera && !m_pFile->text().trimmed().isEmpty());
    m_pApply->setEnabled(!busy && haveCamera && m_pUpdates->currentItem() != nullptr);
}

} // namespace Viewer
