#include "toolspanelplugin.h"

#include "actioncommanddialog.h"
#include "defectpixeldialog.h"

#include <cwidgetpanel.h>

#include <QAction>
#include <QPlainTextEdit>
#include <QPointer>
#include <QTime>

namespace Viewer {

namespace {

// The log and the dialogs of one window, which meet only through the panel.
struct CToolViews
{
    QPointer<QPlainTextEdit> log;
    QPointer<CActionCommandDialog> actions;
    QPointer<CDefectPixelDialog> defects;
};

QPlainTextEdit* createLog(QWidget* parent)
{
    auto* log = new QPlainTextEdit(parent);
    log->setObjectName(QStringLiteral("toolsLog"));
    log->setReadOnly(true);
    log->setMaximumBlockCount(500);
    log->setPlaceholderText(CToolsPanelPlugin::tr("Action commands and defect pixel lists of the Camera menu are logged here."));
    return log;
}

// Shows the window's one dialog of its kind, made on first use.
template <typename Dialog>
void showDialog(QPointer<Dialog>& dialog, const QSharedPointer<const CClientServices>& services,
                const QSharedPointer<CToolViews>& views, QWidget* window)
{
    if (!dialog) {
        dialog = new Dialog(services, window);
        QObject::connect(dialog, &Dialog::logged, dialog, [views](const QString& text) {
            if (views->log)
                views->log->appendPlainText(QStringLiteral("%1  %2").arg(QTime::currentTime().toString(Qt::ISODate), text));
        });
    }
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
}

QAction* createAction(const QString& text, const QString& name, QWidget* window, std::function<void()> open)
{
    auto* action = new QAction(text, window);
    action->setObjectName(name);
    QObject::connect(action, &QAction::triggered, window, std::move(open));
    return action;
}

} // namespace

QSharedPointer<IViewerPanel> CToolsPanelPlugin::createPanel(QSharedPointer<const CViewerServices> services)
{
    const auto views = QSharedPointer<CToolViews>::create();
    return QSharedPointer<CWidgetPanel>::create(
        tr("Camera Tools"), EPanelPlace::Bottom, 60,
        [views](QWidget* parent) {
            views->log = createLog(parent);
            return views->log.data();
        },
        [services, views](QWidget* window) {
            return QList<QAction*>{
                createAction(tr("&Action Commands..."), QStringLiteral("actionCommandsAction"), window,
                             [=] { showDialog(views->actions, services, views, window); }),
                createAction(tr("&Defect Pixels..."), QStringLiteral("defectPixelsAction"), window,
                             [=] { showDialog(views->defects, services, views, window); }),
            };
        });
}

} // namespace Viewer
