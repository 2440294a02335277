#include "firmwarepanelplugin.h"

#include "firmwaredialog.h"

#include <cwidgetpanel.h>

#include <QAction>
#include <QPlainTextEdit>
#include <QPointer>
#include <QTime>

namespace Viewer {

namespace {

// The log and the dialog of one window, which meet only through the panel.
struct CFirmwareViews
{
    QPointer<QPlainTextEdit> log;
    QPointer<CFirmwareDialog> dialog;
};

QPlainTextEdit* createLog(QWidget* parent)
{
    auto* log = new QPlainTextEdit(parent);
    log->setObjectName(QStringLiteral("firmwareLog"));
    log->setReadOnly(true);
    log->setMaximumBlockCount(500);
    log->setPlaceholderText(CFirmwarePanelPlugin::tr("Firmware updates run from Camera > Update Firmware... are logged here."));
    return log;
}

void showDialog(const QSharedPointer<const CViewerServices>& services, const QSharedPointer<CFirmwareViews>& views, QWidget* window)
{
    if (!views->dialog) {
        views->dialog = new CFirmwareDialog(services, window);
        QObject::connect(views->dialog, &CFirmwareDialog::logged, views->dialog, [views](const QString& text) {
            if (views->log)
                views->log->appendPlainText(QStringLiteral("%1  %2").arg(QTime::currentTime().toString(Qt::ISODate), text));
        });
    }
    views->dialog->show();
    views->dialog->raise();
    views->dialog->activateWindow();
}

} // namespace

QSharedPointer<IViewerPanel> CFirmwarePanelPlugin::createPanel(QSharedPointer<const CViewerServices> services)
{
    const auto views = QSharedPointer<CFirmwareViews>::create();
    return QSharedPointer<CWidgetPanel>::create(
        tr("Firmware"), EPanelPlace::Bottom, 50,
        [views](QWidget* parent) {
            views->log = createLog(parent);
            return views->log.data();
        },
        [services, views](QWidget* window) {
            auto* action = new QAction(tr("Update &Firmware..."), window);
            action->setObjectName(QStringLiteral("updateFirmwareAction"));
            action->setStatusTip(tr("Update the firmware of a camera from an update file"));
            QObject::connect(action, &QAction::triggered, window, [services, views, window] { showDialog(services, views, window); });
            return QList<QAction*>{action};
        });
}

} // namespace Viewer
