#pragma once

#include "firmwarejobs.h"

#include <QDialog>

class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTimer;
class QTreeWidget;

namespace Viewer {

// Updates a camera's firmware: a person picks the camera and an update file, sees the updates
// of the file that fit the camera, newest first, with what each would do (upgrade, downgrade,
// sidegrade), and applies one while a progress bar names each step. Listing leaves the camera to
// whoever uses it; applying takes it into exclusive use, and the dialog says so and asks before.
// An update whose camera wasn't found after its restart is told as such, and the version the
// camera reports is read once it is found again. The work runs on the jobs' worker; the dialog
// only shows what it hears.
class CFirmwareDialog : public QDialog
{
    Q_OBJECT
public:
    explicit CFirmwareDialog(QSharedPointer<const CViewerServices> services, QWidget* parent = nullptr);
    ~CFirmwareDialog() override;

    // The update file, as if a person had chosen it in the file dialog.
    void setUpdateFile(const QString& fileName);

signals:
    // A line for the viewer's firmware log.
    void logged(const QString& text);

private:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    void createWidgets();
    void refreshCameras();
    void chooseCamera(int index);
    CameraInfoPtr selectedCamera() const;
    void browse();
    void listUpdates();
    void showListing(const CFirmwareListing& listing);
    void applyUpdate();
    void showStep(Plugin::OptiRoster::EFirmwareUpdateStep step, const QString& description);
    void showProgress(Plugin::OptiRoster::EFirmwareUpdateStep step, double percent);
    void showOutcome(const QString& cameraName, const CFirmwareOutcome& outcome);
    // Asks a person whether the update may take the camera; false when it may not.
    bool confirmApply(const CameraInfoPtr& camera, const Plugin::OptiRoster::FirmwareUpdateInfoPtr& update);
    // Once the camera of an update that lost sight of it is found again, reads what it reports.
    void readVersionOnceBack();
    void showResult(const QString& text, bool failure);
    void updateButtons();

    QSharedPointer<const CViewerServices> m_ptrServices;
    CFirmwareJobs* m_pJobs;
    // Asks for enumeration passes while the camera reboots, so that the device tree shows it
    // gone and back without waiting for the roster's slow timer.
    QTimer* m_pRebootPasses;
    QVector<Plugin::OptiRoster::FirmwareUpdateInfoPtr> m_updates;
    // The camera a person chose, kept while it is away for a reboot.
    QString m_chosenName;
    QString m_chosenSerial;
    QString m_chosenText;
    // The serial number of a camera whose update wrote the firmware but didn't find it again.
    QString m_awaitedSerial;
    QComboBox* m_pCamera = nullptr;
    QLabel* m_pVersion = nullptr;
    QLineEdit* m_pFile = nullptr;
    QPushButton* m_pBrowse = nullptr;
    QPushButton* m_pList = nullptr;
    QTreeWidget* m_pUpdates = nullptr;
    QProgressBar* m_pProgress = nullptr;
    QLabel* m_pStep = nullptr;
    QLabel* m_pResult = nullptr;
    QPushButton* m_pApply = nullptr;
};

} // namespace Viewer
