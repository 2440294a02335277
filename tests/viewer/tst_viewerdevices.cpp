#include "viewerfixture.h"

#include <simscenario.h>

#include <QAction>
#include <QLabel>
#include <QTreeWidget>

#include <tavix/sim/simcontrol.h>

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

const QString First = QStringLiteral("70000051");
const QString Second = QStringLiteral("70000052");
const QString Late = QStringLiteral("70000053");

// Two cameras and an interface; a third camera comes at 300 ms and the second is lost at 600 ms
// of the simulated clock. The first grabs 50 images a second.
QString loadTimelineWorld()
{
    QJsonObject late = TestScenario::camera(Late);
    late.insert("plugged", false);
    const QJsonObject layer = TestScenario::gigeLayer({TestScenario::camera(First, QJsonObject{{"frameRate", 50}}),
                                                       TestScenario::camera(Second, QJsonObject{{"frameRate", 50}}), late},
                                                      {QJsonObject{{"id", "GigE-eth9"}, {"friendlyName", "Ethernet eth9"}}});
    const QJsonArray timeline{
        QJsonObject{{"at", 300}, {"action", "plug"}, {"device", "SimGigE#" + Late}},
        QJsonObject{{"at", 600}, {"action", "lose"}, {"device", "SimGigE#" + Second}},
    };
    QString error;
    TavixSim::loadScenario(QJsonDocument(QJsonObject{{"transportLayers", QJsonArray{layer}}, {"timeline", timeline}}).toJson(), &error);
    return error;
}

} // namespace

class TestViewerDevices : public QObject
{
    Q_OBJECT

private:
    CViewerFixture m_viewer;
    QTreeWidget* m_pTree = nullptr;

    QString figure(const QString& name) const
    {
        auto* label = m_viewer.find<QLabel>(name);
        return label ? label->text() : QStringLiteral("<no %1>").arg(name);
    }
    QString imageMark() const { return m_viewer.find<QWidget>(QStringLiteral("imageView"))->property("mark").toString(); }
    qulonglong displayedImages() const
    {
        return m_viewer.window->findChild<QWidget*>("imagePanel")->property("displayedImages").toULongLong();
    }
    QAction* actionOf(const QString& serial, const QString& name)
    {
        m_pTree->setCurrentItem(itemOf(serial));
        return m_viewer.find<QWidget>(QStringLiteral("deviceTree"))->findChild<QAction*>(name);
    }

    QTreeWidgetItem* itemOf(const QString& serial) const
    {
        const auto items = m_pTree->findItems(serial, Qt::MatchContains | Qt::MatchRecursive);
        return items.isEmpty() ? nullptr : items.first();
    }
    QString stateOf(const QString& serial) const
    {
        const QTreeWidgetItem* item = itemOf(serial);
        return item ? item->text(1) : QStringLiteral("<not shown>");
    }
    // What a person does: select the device and choose the action.
    void act(const QString& serial, const QString& action)
    {
        QTreeWidgetItem* item = itemOf(serial);
        QVERIFY2(item, qPrintable(serial));
        m_pTree->setCurrentItem(item);
        auto* tree = m_viewer.find<QWidget>(QStringLiteral("deviceTree"));
        QAction* found = tree->findChild<QAction*>(action);
        QVERIFY2(found, qPrintable(action));
        QVERIFY2(found->isEnabled(), qPrintable(action + " is disabled for " + serial));
        found->trigger();
    }

private slots:
    void init()
    {
        TavixSim::reset();
        QCOMPARE(loadTimelineWorld(), QString());
        // The panels that show what a camera does, with the tree that acts on it.
        QVERIFY(m_viewer.start({QStringLiteral("*ViewerDevices*"), QStringLiteral("*ViewerImage*"), QStringLiteral("*ViewerFigures*")}));
        m_pTree = m_viewer.find<QTreeWidget>(QStringLiteral("deviceTreeView"));
        QVERIFY(m_pTree);
    }
    void cleanup()
    {
        m_viewer.stop();
        TavixSim::clearFaults();
    }

    void showsTheLayersInterfacesAndCameras()
    {
        QCOMPARE(m_pTree->topLevelItemCount(), 1);
        const QTreeWidgetItem* layer = m_pTree->topLevelItem(0);
        QCOMPARE(layer->text(0), QStringLiteral("GigE"));
        QStringList children;
        for (int i = 0; i < layer->childCount(); ++i)
            children << layer->child(i)->text(0) + " | " + layer->child(i)->text(1);
        // A display name that holds the serial number already doesn't get it twice.
        QCOMPARE(children, QStringList({"Ethernet eth9 | closed", "Sim camera (70000051) | closed", "Sim camera (70000052) | closed"}));
    }

    // Open, active, grab, exclusive use, release and close, each shown as the roster tells it.
    void showsEachStateOfACamera()
    {
        // A closed camera is opened before it grabs: Grab waits for that, and says so.
        QAction* grab = actionOf(First, "Grab");
        QVERIFY(!grab->isEnabled());
        QVERIFY2(grab->toolTip().contains("Open the camera first"), qPrintable(grab->toolTip()));
        act(First, "Open");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("open"), 10000);
        act(First, "Set as Active Device");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("open, active"), 10000);
        QVERIFY(itemOf(First)->font(0).bold());
        act(First, "Grab");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("grabbing, active"), 10000);
        act(First, "Stop");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("open, active"), 10000);
        act(First, "Take into Exclusive Mode");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("exclusive, active"), 10000);
        // Another client can't have it meanwhile.
        QVERIFY(!m_viewer.services.control->takeExclusive(m_viewer.camera(First)));
        act(First, "Release from Exclusive Mode");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("open, active"), 10000);
        act(First, "Close");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("closed, active"), 10000);
        act(Second, "Open in Monitor Mode");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(Second), QStringLiteral("monitor"), 10000);
    }

    // A refused open names its reason in the panel and on the camera's tooltip.
    void showsWhyAnOperationFailed()
    {
        TavixSim::injectFault({("SimGigE#" + First).toStdString(), "Open", "AccessException", "Device is busy elsewhere.", 1});
        act(First, "Open");
        auto* message = m_viewer.find<QLabel>(QStringLiteral("deviceMessage"));
        QTRY_VERIFY_WITH_TIMEOUT(message->text().contains("failed"), 10000);
        QVERIFY2(message->text().contains("busy elsewhere"), qPrintable(message->text()));
        QVERIFY2(itemOf(First)->toolTip(0).contains("busy elsewhere"), qPrintable(itemOf(First)->toolTip(0)));
        QCOMPARE(stateOf(First), QStringLiteral("closed"));
    }

    // A camera this viewer takes into exclusive use and grabs is shown grabbing, with its figures
    // and its images, though the roster says nothing of it to other clients.
    void aGrabInExclusiveUseIsShownLikeAnyOther()
    {
        act(First, "Set as Active Device");
        act(First, "Take into Exclusive Mode");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("exclusive, active"), 10000);
        act(First, "Grab");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("exclusive, grabbing, active"), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(figure("grabbedValue").toInt() > 5, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(figure("grabState"), QStringLiteral("grabbing"), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(figure("fpsValue") != QStringLiteral("0.0 images/s"), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(displayedImages() > 2, 10000);
        // Other clients still learn nothing of it.
        QVERIFY(!m_viewer.services.control->takeExclusive(m_viewer.camera(First)));

        act(First, "Stop");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("exclusive, active"), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(figure("fpsValue"), QStringLiteral("0.0 images/s"), 10000);
        QCOMPARE(figure("grabState"), QStringLiteral("stopped"));
        QTRY_VERIFY_WITH_TIMEOUT(imageMark().startsWith("Stopped"), 10000);
        act(First, "Release from Exclusive Mode");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("open, active"), 10000);
    }

    // An active camera lost while it grabs is marked lost everywhere: in the tree with a message,
    // over its last image, and in the figures, whose rates fall to 0.
    void aLostActiveCameraIsMarkedLostEverywhere()
    {
        act(Second, "Set as Active Device");
        act(Second, "Open");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(Second), QStringLiteral("open, active"), 10000);
        act(Second, "Grab");
        QTRY_VERIFY_WITH_TIMEOUT(displayedImages() > 0, 10000);
        // The timeline loses the camera at 600 ms of the simulated clock.
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(Second), QStringLiteral("lost, active"), 10000);
        const QString message = m_viewer.find<QLabel>(QStringLiteral("deviceMessage"))->text();
        QVERIFY2(message.contains("was lost"), qPrintable(message));
        QTRY_VERIFY_WITH_TIMEOUT(imageMark().startsWith("Lost"), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(figure("grabState").startsWith("lost"), 10000);
        QCOMPARE(figure("fpsValue"), QStringLiteral("0.0 images/s"));
        QCOMPARE(figure("bandwidthValue"), QStringLiteral("0.00 MB/s"));
        QVERIFY(!actionOf(Second, "Grab")->isEnabled());
    }

    // A camera nobody used that the enumeration finds no more goes from the tree, with a word.
    void aCameraThatIsGoneIsToldOf()
    {
        QVERIFY(itemOf(First));
        TavixSim::unplugDevice(("SimGigE#" + First).toStdString());
        act(Second, "Enumerate");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(First), QStringLiteral("<not shown>"), 10000);
        const QString message = m_viewer.find<QLabel>(QStringLiteral("deviceMessage"))->text();
        QVERIFY2(message.contains("Sim camera (70000051) is gone"), qPrintable(message));
    }

    // The timeline plugs a camera in and takes an open one away: the tree follows.
    void followsCamerasThatComeAndGo()
    {
        act(Second, "Open");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(Second), QStringLiteral("open"), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(Second), QStringLiteral("lost"), 10000);
        // The next pass, asked for as a person would, brings the new camera and drops the lost one.
        QTRY_VERIFY_WITH_TIMEOUT(TavixSim::deviceClockNs() > 600'000'000u, 10000);
        act(First, "Enumerate");
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(Late), QStringLiteral("closed"), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(Second), QStringLiteral("<not shown>"), 10000);
    }
};

TAVIX_VIEWER_TEST_MAIN(TestViewerDevices)
#include "tst_viewerdevices.moc"
