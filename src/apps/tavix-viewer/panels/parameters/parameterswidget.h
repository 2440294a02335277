#pragma once

#include "featuresnapshot.h"

#include <clientservices.h>

#include <QHash>
#include <QWidget>

class QLabel;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace Viewer {

class CFeatureEditor;
class CParameterWriter;

// The features of the active device while it is open, grouped by node map, each with an editor
// of its type. A write goes through the host's parameter service on a worker; a refusal shows
// its reason next to the feature and below the tree, and the editor shows the value read back.
class CParametersWidget : public QWidget
{
    Q_OBJECT
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;

    explicit CParametersWidget(QSharedPointer<const CClientServices> services, QWidget* parent = nullptr);
    ~CParametersWidget() override;

    QSize sizeHint() const override { return {400, 480}; }

private:
    void follow(const DeviceBaseInfoPtr& device);
    void onDeviceOpened(const DeviceBaseInfoPtr& device);
    void onDeviceClosed(const DeviceBaseInfoPtr& device);
    // Reads every feature again; editors of the same kind keep their place, others are made anew.
    void refresh();
    void rebuild(const QVector<CFeatureSnapshot>& features);
    void clear(const QString& reason);
    QVector<CFeatureSnapshot> readFeatures(QString& error) const;
    void addFeature(QTreeWidgetItem* mapItem, const CFeatureSnapshot& feature);
    void onWritten(const DeviceBaseInfoPtr& device, const QString& path, const QString& error, const QString& readBack);
    void setReason(const QString& path, const QString& reason);

    QSharedPointer<const CClientServices> m_ptrServices;
    DeviceBaseInfoPtr m_ptrDevice; // the device shown, empty while none is open
    CParameterWriter* m_pWriter;
    QLabel* m_pDevice;
    QPushButton* m_pRefresh;
    QTreeWidget* m_pTree;
    QLabel* m_pMessage;
    QHash<QString, CFeatureEditor*> m_editors;
    QHash<QString, QTreeWidgetItem*> m_items;
};

} // namespace Viewer
