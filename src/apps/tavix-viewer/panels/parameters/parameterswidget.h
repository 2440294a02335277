#pragma once

#include "featuresnapshot.h"

#include <viewerservices.h>

#include <QHash>
#include <QWidget>

class QLabel;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace Viewer {

class CFeatureEditor;
class CParameterAccess;

// The features of the active device while it is open, grouped by node map, each with an editor
// of its type. Reads and writes go through the host's parameter service on a worker; a refusal
// shows its reason next to the feature and below the tree, and the editor shows the value read back.
class CParametersWidget : public QWidget
{
    Q_OBJECT
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;

    explicit CParametersWidget(QSharedPointer<const CViewerServices> services, QWidget* parent = nullptr);
    ~CParametersWidget() override;

    QSize sizeHint() const override { return {400, 480}; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void follow(const DeviceBaseInfoPtr& device);
    void onDeviceOpened(const DeviceBaseInfoPtr& device);
    void onDeviceClosed(const DeviceBaseInfoPtr& device);
    void onConnectionLost(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    // Runs a command, after asking a person first for one that restarts the device.
    void execute(const QString& path);
    // Asks for every feature again; the answer comes to onFeaturesRead(). A quiet read leaves
    // the message below the tree alone unless it fails (after a write, which tells its own).
    void refresh();
    void read(bool quiet);
    // Editors of the same kind keep their place and show the new values; others are made anew.
    void onFeaturesRead(int ticket, const DeviceBaseInfoPtr& device, const QVector<CFeatureSnapshot>& features,
                        const QString& error);
    void rebuild(const QVector<CFeatureSnapshot>& features);
    bool showsSameKinds(const QVector<CFeatureSnapshot>& features) const;
    void clear(const QString& reason);
    void addFeature(QTreeWidgetItem* mapItem, const CFeatureSnapshot& feature);
    void onWritten(const DeviceBaseInfoPtr& device, const QString& path, const QString& error, const QString& readBack);
    void setReason(const QString& path, const QString& reason);
    void fitColumns();

    QSharedPointer<const CViewerServices> m_ptrServices;
    DeviceBaseInfoPtr m_ptrDevice; // the device shown, empty while none is open
    DeviceBaseInfoPtr m_ptrLostDevice; // the last device lost, until it opens again
    CParameterAccess* m_pAccess;
    int m_awaitedRead = 0; // the ticket of the newest read asked for; older answers are stale
    bool m_quietRead = false;
    QLabel* m_pDevice;
    QPushButton* m_pRefresh;
    QTreeWidget* m_pTree;
    QLabel* m_pMessage;
    int m_featureWidth = 0; // what the longest feature name needs, within reason
    QHash<QString, CFeatureEditor*> m_editors;
    QHash<QString, QTreeWidgetItem*> m_items;
};

} // namespace Viewer
