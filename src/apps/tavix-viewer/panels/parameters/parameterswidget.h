#pragma once

#include <featuresnapshot.h>
#include <viewerservices.h>

#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace Viewer {

class CFeatureTree;
class CParameterAccess;

// The features of the active device while it is open, as its description groups them in
// categories, each with an editor of its type, a filter by visibility and a search. Reads and
// writes go through the host's parameter service on a worker; a refusal shows its reason next to
// the feature and below the tree, and the editor shows the value read back. A write, this panel's
// or another client's, brings the feature and those that depend on it up to date.
class CParametersWidget : public QWidget
{
    Q_OBJECT
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;

    explicit CParametersWidget(QSharedPointer<const CViewerServices> services, QWidget* parent = nullptr);
    ~CParametersWidget() override;

    QSize sizeHint() const override { return {400, 480}; }

private:
    void follow(const DeviceBaseInfoPtr& device);
    void onDeviceOpened(const DeviceBaseInfoPtr& device);
    void onDeviceClosed(const DeviceBaseInfoPtr& device);
    void onConnectionLost(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    // Runs a command, after asking a person first for one that restarts the device.
    void execute(const QString& path);
    // Asks for every feature again; the answer comes to onFeaturesRead(). A quiet read leaves
    // the message below the tree alone unless it fails.
    void refresh();
    void read(bool quiet);
    void onFeaturesRead(int ticket, const DeviceBaseInfoPtr& device, const QVector<CFeatureSnapshot>& features,
                        const QString& error);
    // A client wrote the feature: it and its dependents are read again.
    void onParameterWritten(const DeviceBaseInfoPtr& device, const QString& path);
    void onFeaturesRefreshed(const DeviceBaseInfoPtr& device, const QVector<CFeatureSnapshot>& features, const QString& error);
    void clear(const QString& reason);
    void onWritten(const DeviceBaseInfoPtr& device, const QString& path, const QString& error, const QString& readBack);
    void applyVisibility(int index);
    void showCount();

    QSharedPointer<const CViewerServices> m_ptrServices;
    DeviceBaseInfoPtr m_ptrDevice; // the device shown, empty while none is open
    DeviceBaseInfoPtr m_ptrLostDevice; // the last device lost, until it opens again
    CParameterAccess* m_pAccess;
    int m_awaitedRead = 0; // the ticket of the newest read asked for; older answers are stale
    bool m_quietRead = false;
    QLabel* m_pDevice;
    QPushButton* m_pRefresh;
    QLineEdit* m_pSearch;
    QComboBox* m_pVisibility;
    CFeatureTree* m_pTree;
    QLabel* m_pMessage;
};

} // namespace Viewer
