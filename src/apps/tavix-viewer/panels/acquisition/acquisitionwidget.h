#pragma once

#include <featuresnapshot.h>
#include <viewerservices.h>

#include <QHash>
#include <QPair>
#include <QSet>
#include <QWidget>

class QGroupBox;
class QFormLayout;
class QLabel;
class QPushButton;
class QTimer;

namespace Viewer {

class CFeatureControl;
class CParameterAccess;

// The acquisition controls of the active camera: frame rate, exposure, gain and black level with
// their automatic modes, the image's format and region, the trigger with a software trigger,
// the camera's user sets, and its settings saved to a file and loaded back. Each control shows
// what the camera has, under the name the camera gives it, and follows the camera: a write by
// any client, and every second what the camera changes by itself (an automatic exposure), while
// the panel is shown. What the camera takes only while stopped is written by stopping the grab,
// writing and starting it again, each step told below the controls. Camera work runs on the
// panel's worker; the GUI thread never waits on the camera.
class CAcquisitionWidget : public QWidget
{
    Q_OBJECT
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;

    explicit CAcquisitionWidget(QSharedPointer<const CViewerServices> services, QWidget* parent = nullptr);
    ~CAcquisitionWidget() override;

    QSize sizeHint() const override { return {380, 520}; }

    // Ask for a file, then save or load the active camera's settings.
    void saveSettings();
    void loadSettings();
    void saveSettingsTo(const QString& fileName);
    void loadSettingsFrom(const QString& fileName);

protected:
    void showEvent(QShowEvent* event) override;

private:
    using Group = QPair<QGroupBox*, QFormLayout*>;

    Group addGroup(const QString& title, const QString& objectName);
    CFeatureControl* addControl(const Group& group, const QStringList& names, bool whileStopped = false);
    void follow(const DeviceBaseInfoPtr& device);
    void onDeviceOpened(const DeviceBaseInfoPtr& device);
    void onDeviceClosed(const DeviceBaseInfoPtr& device);
    // Reads the controls' features again, unless a read is under way (then once more after it).
    void refresh();
    void onFeaturesRefreshed(const DeviceBaseInfoPtr& device, const QVector<CFeatureSnapshot>& features, const QString& error);
    void requestWrite(const QString& path, const QString& value, bool whileStopped);
    void send(const QString& path, const QString& value, bool whileStopped);
    void requestExecute(const QString& path, bool whileStopped);
    void onWritten(const DeviceBaseInfoPtr& device, const QString& path, const QString& error, const QString& readBack);
    void onRestartProgress(const DeviceBaseInfoPtr& device, const QString& step);
    CFeatureControl* controlOf(const QString& path) const;
    QString nameOf(const QString& path) const;
    void showGroups();
    void setMessage(const QString& text);
    // Shows the text below the controls and in a message box, which nobody waits for.
    void tell(const QString& title, const QString& text, const QString& details, bool warning);
    // The vendor, model and name of the device shown, as its description has them.
    QString vendor() const;
    QString model() const;

    QSharedPointer<const CViewerServices> m_ptrServices;
    DeviceBaseInfoPtr m_ptrDevice; // the open camera shown, empty while there is none
    CParameterAccess* m_pAccess;
    QLabel* m_pDevice;
    QLabel* m_pMessage;
    QPushButton* m_pSaveSettings = nullptr;
    QPushButton* m_pLoadSettings = nullptr;
    QTimer* m_pFollowTimer;
    QVector<CFeatureControl*> m_controls;
    QHash<CFeatureControl*, QLabel*> m_labels;
    QVector<QGroupBox*> m_featureGroups;
    QStringList m_paths; // of every name of every control
    bool m_refreshing = false;
    bool m_refreshAgain = false;
    QSet<QString> m_writing;                         // paths with a write under way
    QHash<QString, QPair<QString, bool>> m_nextWrite; // the newest value asked for meanwhile
    bool m_restarted = false; // the write under way stopped the grab
    QString m_settingsFolder;
};

} // namespace Viewer
