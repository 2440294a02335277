#include "viewerfixture.h"

#include <firmwarefixture.h>
#include <plugins/optiroster/firmwareupdatetypes.h>

#include <QAction>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeWidget>

using namespace Plugin::OptiRoster;
using Core::OptiRosterComponents::CameraInfoPtr;

class TestViewerFirmware : public QObject
{
    Q_OBJECT

private:
    CViewerFixture m_viewer;
    QDialog* m_pDialog = nullptr;

    template <typename Widget>
    Widget* widget(const QString& name) const
    {
        auto* found = m_pDialog->findChild<Widget*>(name);
        if (!found)
            qWarning() << "no widget" << name;
        return found;
    }
    QString text(const QString& label) const { return widget<QLabel>(label)->text(); }
    QStringList rows() const
    {
        QStringList rows;
        auto* updates = widget<QTreeWidget>(QStringLiteral("firmwareUpdates"));
        for (int i = 0; i < updates->topLevelItemCount(); ++i)
            rows << updates->topLevelItem(i)->text(0) + " " + updates->topLevelItem(i)->text(1);
        return rows;
    }
    // What a person does: picks the camera and the file, and asks for the list.
    void listUpdatesOf(const QString& serial, const QString& file)
    {
        auto* camera = widget<QComboBox>(QStringLiteral("firmwareCamera"));
        QTRY_VERIFY_WITH_TIMEOUT(camera->findText(serial, Qt::MatchContains) >= 0, 10000);
        camera->setCurrentIndex(camera->findText(serial, Qt::MatchContains));
        widget<QLineEdit>(QStringLiteral("firmwareFile"))->setText(file);
        auto* list = widget<QPushButton>(QStringLiteral("firmwareList"));
        QVERIFY(list->isEnabled());
        list->click();
    }

    // Applies the chosen update, answering the question the dialog asks first; its text in
    // *question.
    void applyAnswering(QMessageBox::StandardButton answer, QString* question = nullptr)
    {
        QTimer::singleShot(0, [answer, question] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            QVERIFY(box);
            if (question)
                *question = box->text();
            box->button(answer)->click();
        });
        widget<QPushButton>(QStringLiteral("firmwareApply"))->click();
    }
    void startViewer()
    {
        QVERIFY(m_viewer.start({QStringLiteral("*ViewerFirmware*"), QStringLiteral("*ViewerDevices*")}));
        auto* open = m_viewer.window->findChild<QAction*>(QStringLiteral("updateFirmwareAction"));
        QVERIFY(open);
        open->trigger();
        m_pDialog = m_viewer.find<QDialog>(QStringLiteral("firmwareDialog"));
        QVERIFY(m_pDialog);
        QVERIFY(m_pDialog->isVisible());
    }
    CameraInfoPtr orvik() const { return m_viewer.camera(QLatin1String(FirmwareScenario::OrvikSerial)); }

private slots:
    void init()
    {
        TavixSim::reset();
        QCOMPARE(FirmwareScenario::load({FirmwareScenario::orvik(), FirmwareScenario::tesmar()}), QString());
        startViewer();
    }
    void cleanup()
    {
        m_pDialog = nullptr;
        m_viewer.stop();
        TavixSim::reset();
    }

    // The file's updates that fit the camera, newest first, each with what it would do, and one
    // applied through the camera's reboot: every step shown, the new version read back.
    void appliesAnUpdateThroughTheReboot()
    {
        // Fast, yet slow enough that the GUI thread must turn while the update runs.
        TavixSim::setSleepScale(0.05);
        listUpdatesOf(QLatin1String(FirmwareScenario::OrvikSerial), QFINDTESTDATA("../data/firmware/updates.json"));
        QTRY_VERIFY_WITH_TIMEOUT(!rows().isEmpty(), 20000);
        QCOMPARE(rows(), QStringList({"2.2.0 upgrade", "2.1.8 upgrade", "2.0.3 downgrade", "2.3.0-rc1 unknown"}));
        QCOMPARE(text("firmwareVersion"), QLatin1String(FirmwareScenario::OrvikFirmware));

        auto* updates = widget<QTreeWidget>(QStringLiteral("firmwareUpdates"));
        updates->setCurrentItem(updates->topLevelItem(1));
        QObject* jobs = m_pDialog->findChild<QObject*>(QStringLiteral("firmwareJobs"));
        QVERIFY(jobs);
        QSignalSpy steps(jobs, SIGNAL(stepBegun(Plugin::OptiRoster::EFirmwareUpdateStep,QString)));
        int guiTurns = 0;
        QTimer ticker;
        connect(&ticker, &QTimer::timeout, this, [&guiTurns] { ++guiTurns; });
        ticker.start(5);
        auto* apply = widget<QPushButton>(QStringLiteral("firmwareApply"));
        applyAnswering(QMessageBox::Apply);
        QVERIFY(!apply->isEnabled()); // the click came back while the update runs
        QTRY_COMPARE_WITH_TIMEOUT(text("firmwareStep"), QStringLiteral("Done"), 30000);

        QVector<EFirmwareUpdateStep> seen;
        for (const QList<QVariant>& step : qAsConst(steps))
            seen << step.at(0).value<EFirmwareUpdateStep>();
        QCOMPARE(seen, QVector<EFirmwareUpdateStep>({CheckPreconditions, AcquireUpdateData, FileUpload, FeatureAssert, DeviceReset}));
        QVERIFY2(guiTurns > 0, "the GUI thread waited for the update");
        const QString newVersion = QStringLiteral("OVK2310-V02.01.008-build4502");
        QCOMPARE(widget<QProgressBar>(QStringLiteral("firmwareProgress"))->value(), 100);
        QVERIFY2(text("firmwareResult").contains(newVersion), qPrintable(text("firmwareResult")));
        QCOMPARE(text("firmwareVersion"), newVersion);
        QCOMPARE(QString::fromStdString(TavixSim::firmwareVersion(FirmwareScenario::OrvikName)), newVersion);
        auto* log = m_viewer.find<QPlainTextEdit>(QStringLiteral("firmwareLog"));
        QVERIFY2(log->toPlainText().contains(newVersion), qPrintable(log->toPlainText()));

        // Back from its reboot, the camera lists what the file offers it now.
        widget<QPushButton>(QStringLiteral("firmwareList"))->click();
        QTRY_VERIFY_WITH_TIMEOUT(!rows().isEmpty(), 20000);
        QCOMPARE(rows().at(1), QStringLiteral("2.1.8 sidegrade"));
    }

    // On the simulator's own clock, the reboot lasts seconds: the device tree shows the camera
    // gone meanwhile, and back after.
    void theTreeShowsTheCameraGoneDuringItsReboot()
    {
        // Long enough for several passes on a loaded machine.
        TavixSim::setRebootTime(FirmwareScenario::OrvikName, 5000);
        listUpdatesOf(QLatin1String(FirmwareScenario::OrvikSerial), QFINDTESTDATA("../data/firmware/updates.json"));
        QTRY_VERIFY_WITH_TIMEOUT(!rows().isEmpty(), 20000);
        auto* tree = m_viewer.find<QTreeWidget>(QStringLiteral("deviceTreeView"));
        QVERIFY(tree);
        const auto shown = [tree] {
            const auto items = tree->findItems(QLatin1String(FirmwareScenario::OrvikSerial), Qt::MatchContains | Qt::MatchRecursive);
            return items.isEmpty() ? QStringLiteral("gone") : items.first()->text(1);
        };
        QStringList states{shown()};
        QTimer watch;
        connect(&watch, &QTimer::timeout, this, [&] {
            if (states.last() != shown())
                states << shown();
        });
        watch.start(10);
        applyAnswering(QMessageBox::Apply);
        QTRY_COMPARE_WITH_TIMEOUT(text("firmwareStep"), QStringLiteral("Done"), 60000);
        QTRY_COMPARE_WITH_TIMEOUT(states.last(), QStringLiteral("closed"), 20000);
        QCOMPARE(states.first(), QStringLiteral("closed"));
        QVERIFY2(states.contains("gone") || states.contains("lost"), qPrintable(states.join(", ")));
        QVERIFY2(text("firmwareResult").contains("OVK2310-V02.02.000-build4610"), qPrintable(text("firmwareResult")));
    }

    // A flash write that fails half-way: the reason is shown, and the camera, restarted with its
    // old firmware, still reports it.
    void aFailedUpdateShowsItsReason()
    {
        TavixSim::setSleepScale(0);
        listUpdatesOf(QLatin1String(FirmwareScenario::OrvikSerial), QFINDTESTDATA("../data/firmware/updates.json"));
        QTRY_VERIFY_WITH_TIMEOUT(!rows().isEmpty(), 20000);
        TavixSim::injectFault({FirmwareScenario::OrvikName, "FirmwareWrite", "RuntimeException", "Flash write error at block 0x0040.", 1});
        applyAnswering(QMessageBox::Apply);
        QTRY_COMPARE_WITH_TIMEOUT(text("firmwareStep"), QStringLiteral("Failed"), 30000);
        QVERIFY2(text("firmwareResult").contains("Flash write error at block 0x0040."), qPrintable(text("firmwareResult")));
        QCOMPARE(text("firmwareVersion"), QLatin1String(FirmwareScenario::OrvikFirmware));
        QVERIFY(m_viewer.find<QPlainTextEdit>(QStringLiteral("firmwareLog"))->toPlainText().contains("failed"));
    }

    // Listing a file's updates for a camera that grabs leaves it grabbing and open: only applying
    // an update takes the camera, and the dialog asks first, saying what will happen to the grab.
    void listingLeavesAGrabRunningAndApplyingAsksFirst()
    {
        const CameraInfoPtr camera = orvik();
        QVERIFY(m_viewer.services.control->open(camera, false));
        m_viewer.services.stream->startGrabbing(camera);
        QVERIFY(m_viewer.services.status->isCameraGrabbing(camera));
        listUpdatesOf(QLatin1String(FirmwareScenario::OrvikSerial), QFINDTESTDATA("../data/firmware/updates.json"));
        QTRY_VERIFY_WITH_TIMEOUT(!rows().isEmpty(), 20000);
        // The same updates, order and directions as the roster's own matching gives a closed camera.
        QCOMPARE(rows(), QStringList({"2.2.0 upgrade", "2.1.8 upgrade", "2.0.3 downgrade", "2.3.0-rc1 unknown"}));
        QCOMPARE(text("firmwareVersion"), QLatin1String(FirmwareScenario::OrvikFirmware));
        QVERIFY2(text("firmwareResult").contains("stayed as it was"), qPrintable(text("firmwareResult")));
        QVERIFY(m_viewer.services.status->isCameraGrabbing(camera));
        QVERIFY(m_viewer.services.status->isDeviceOpen(camera));

        QString question;
        applyAnswering(QMessageBox::Cancel, &question);
        QVERIFY2(question.contains("exclusive use") && question.contains("the grab stops"), qPrintable(question));
        QVERIFY(widget<QPushButton>(QStringLiteral("firmwareApply"))->isEnabled()); // nothing started
        QVERIFY(m_viewer.services.status->isCameraGrabbing(camera));
        m_viewer.services.stream->stopGrabbing(camera);
        m_viewer.services.control->close(camera);
    }

    // A camera on a subnet this computer can't reach is listed by the enumeration but not found by
    // the update's search after the restart: the dialog says that the firmware was written, not
    // that nothing happened, and reads the version once an enumeration finds the camera again.
    void anUpdateWhoseCameraIsNotFoundAgainSaysWhatHappened()
    {
        m_pDialog = nullptr;
        m_viewer.stop();
        TavixSim::reset();
        QJsonObject unreachable = FirmwareScenario::orvik();
        unreachable.insert("reachable", false);
        QCOMPARE(FirmwareScenario::load({unreachable, FirmwareScenario::tesmar()}), QString());
        startViewer();
        TavixSim::setSleepScale(0);
        listUpdatesOf(QLatin1String(FirmwareScenario::OrvikSerial), QFINDTESTDATA("../data/firmware/updates.json"));
        QTRY_VERIFY_WITH_TIMEOUT(!rows().isEmpty(), 20000);
        auto* updates = widget<QTreeWidget>(QStringLiteral("firmwareUpdates"));
        updates->setCurrentItem(updates->topLevelItem(1));
        applyAnswering(QMessageBox::Apply);
        QTRY_VERIFY_WITH_TIMEOUT(text("firmwareStep").startsWith("Written"), 60000);
        // The result line may have moved on to the version read since; the log keeps what was said.
        const QString log = m_viewer.find<QPlainTextEdit>(QStringLiteral("firmwareLog"))->toPlainText();
        QVERIFY2(log.contains("firmware written and verified; the camera wasn't found after its restart: "
                              "Could not rediscover device after reset."),
                 qPrintable(log));
        QVERIFY2(!log.contains("the update failed"), qPrintable(log));
        const QString newVersion = QStringLiteral("OVK2310-V02.01.008-build4502");
        QCOMPARE(QString::fromStdString(TavixSim::firmwareVersion(FirmwareScenario::OrvikName)), newVersion);
        QVERIFY(!text("firmwareVersion").contains(QLatin1String(FirmwareScenario::OrvikFirmware)));

        m_viewer.services.enumeration->requestEnumeration();
        QTRY_COMPARE_WITH_TIMEOUT(text("firmwareVersion"), newVersion, 20000);
        QVERIFY2(text("firmwareResult").contains("is back and reports firmware " + newVersion), qPrintable(text("firmwareResult")));
    }

    void aBadFileIsRefusedWithItsReason_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("reason");
        QTest::newRow("missing") << QByteArray() << "does not exist";
        QTest::newRow("truncated") << QByteArray("{\"tavixFirmwareUpdates\": 1, \"updates\": [") << "malformed";
        QTest::newRow("no update file") << QByteArray("{\"tavixFirmwareUpdates\": 7, \"updates\": []}") << "no update file";
    }
    void aBadFileIsRefusedWithItsReason()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, reason);
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("update.json"));
        if (!content.isEmpty()) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
        }
        listUpdatesOf(QLatin1String(FirmwareScenario::OrvikSerial), path);
        QTRY_VERIFY_WITH_TIMEOUT(text("firmwareResult").contains("can't be used"), 20000);
        QVERIFY2(text("firmwareResult").contains(reason) && text("firmwareResult").contains(path), qPrintable(text("firmwareResult")));
        QVERIFY(rows().isEmpty());
        QVERIFY(!widget<QPushButton>(QStringLiteral("firmwareApply"))->isEnabled());
        QVERIFY(widget<QPushButton>(QStringLiteral("firmwareList"))->isEnabled());
    }
};

TAVIX_VIEWER_TEST_MAIN(TestViewerFirmware)
#include "tst_viewerfirmware.moc"
