#include "viewerfixture.h"

#include <simscenario.h>

#include <QAction>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

const QString Listener = QStringLiteral("70000061");
const QString Second = QStringLiteral("70000062");
const QString OtherKey = QStringLiteral("70000063");
const QString OtherGroup = QStringLiteral("70000064");

// A GigE camera with its action command settings; the first also has defect pixel lists.
QJsonObject camera(const QString& serial, int deviceKey, int groupMask)
{
    QJsonObject device = TestScenario::camera(serial, {}, QJsonArray{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 64}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 16}},
        QJsonObject{{"name", "ActionDeviceKey"}, {"type", "integer"}, {"value", deviceKey}},
        QJsonObject{{"name", "ActionGroupKey"}, {"type", "integer"}, {"value", 0x22}},
        QJsonObject{{"name", "ActionGroupMask"}, {"type", "integer"}, {"value", groupMask}},
    });
    if (serial == Listener)
        device.insert("defectPixels", QJsonObject{{"factory", QJsonArray{QJsonArray{1, 1}, QJsonArray{5, 0}}},
                                                  {"user", QJsonArray{QJsonArray{3, 2}}}});
    return device;
}

QStringList tableRows(const QTableWidget* table)
{
    QStringList rows;
    for (int row = 0; row < table->rowCount(); ++row)
        rows << table->item(row, 0)->text() + " " + table->item(row, 1)->text();
    return rows;
}

} // namespace

class TestViewerTools : public QObject
{
    Q_OBJECT

private:
    CViewerFixture m_viewer;

    QDialog* openDialog(const QString& action, const QString& dialog)
    {
        auto* found = m_viewer.window->findChild<QAction*>(action);
        if (!found)
            return nullptr;
        found->trigger();
        return m_viewer.find<QDialog>(dialog);
    }

private slots:
    void init()
    {
        TavixSim::reset();
        QCOMPARE(TestScenario::load({TestScenario::gigeLayer({camera(Listener, 0x11, 0x1), camera(Second, 0x11, 0x3),
                                                              camera(OtherKey, 0x99, 0x1), camera(OtherGroup, 0x11, 0x2)})}),
                 QString());
        QVERIFY(m_viewer.start({QStringLiteral("*ViewerTools*")}));
    }
    void cleanup()
    {
        m_viewer.stop();
    }

    void anActionCommandListsEachCamerasAnswer_data()
    {
        QTest::addColumn<bool>("scheduled");
        QTest::addColumn<QStringList>("answers");
        // Those of the group acknowledge, one outside it refuses, one with another key is silent.
        QTest::newRow("now") << false
                             << QStringList({"192.168.1.61 acknowledged (status 0)", "192.168.1.62 acknowledged (status 0)",
                                             "192.168.1.64 refused (status 1)"});
        // No camera's clock is synchronised: each one with the key refuses a time.
        QTest::newRow("at a time") << true
                                   << QStringList({"192.168.1.61 refused (status 1)", "192.168.1.62 refused (status 1)",
                                                   "192.168.1.64 refused (status 1)"});
    }
    void anActionCommandListsEachCamerasAnswer()
    {
        QFETCH(bool, scheduled);
        QFETCH(QStringList, answers);
        QDialog* dialog = openDialog(QStringLiteral("actionCommandsAction"), QStringLiteral("actionCommandDialog"));
        QVERIFY(dialog);
        dialog->findChild<QLineEdit*>(QStringLiteral("actionDeviceKey"))->setText(QStringLiteral("0x11"));
        dialog->findChild<QLineEdit*>(QStringLiteral("actionGroupKey"))->setText(QStringLiteral("22"));
        dialog->findChild<QLineEdit*>(QStringLiteral("actionGroupMask"))->setText(QStringLiteral("0x00000001"));
        if (scheduled) {
            dialog->findChild<QRadioButton*>(QStringLiteral("actionScheduled"))->setChecked(true);
            dialog->findChild<QLineEdit*>(QStringLiteral("actionTime"))->setText(QStringLiteral("5000000000"));
        }
        dialog->findChild<QPushButton*>(QStringLiteral("actionSend"))->click();
        auto* table = dialog->findChild<QTableWidget*>(QStringLiteral("actionAnswers"));
        QTRY_COMPARE_WITH_TIMEOUT(table->rowCount(), 3, 10000);
        QStringList rows = tableRows(table);
        rows.sort();
        QCOMPARE(rows, answers);
        auto* status = dialog->findChild<QLabel*>(QStringLiteral("actionStatus"));
        QVERIFY2(status->text().startsWith("Sent; 3 camera(s) answered"), qPrintable(status->text()));
    }

    void aBadBroadcastAddressIsRefusedWithItsReason()
    {
        QDialog* dialog = openDialog(QStringLiteral("actionCommandsAction"), QStringLiteral("actionCommandDialog"));
        QVERIFY(dialog);
        dialog->findChild<QLineEdit*>(QStringLiteral("actionDeviceKey"))->setText(QStringLiteral("11"));
        dialog->findChild<QLineEdit*>(QStringLiteral("actionBroadcast"))->setText(QStringLiteral("192.168.1.300"));
        dialog->findChild<QPushButton*>(QStringLiteral("actionSend"))->click();
        auto* status = dialog->findChild<QLabel*>(QStringLiteral("actionStatus"));
        QTRY_VERIFY_WITH_TIMEOUT(status->text().contains("refused"), 10000);
        QVERIFY2(status->text().contains("192.168.1.300"), qPrintable(status->text()));
        QCOMPARE(dialog->findChild<QTableWidget*>(QStringLiteral("actionAnswers"))->rowCount(), 0);
        QVERIFY(m_viewer.find<QPlainTextEdit>(QStringLiteral("toolsLog"))->toPlainText().contains("refused"));
    }

    // The user list edited in the table is written in the camera's order and read back; the
    // camera, closed before, is closed again after.
    void aUserListIsWrittenAndReadBack()
    {
        const CameraInfoPtr listener = m_viewer.camera(Listener);
        QVERIFY(listener);
        m_viewer.services.status->setActiveDevice(listener);
        QDialog* dialog = openDialog(QStringLiteral("defectPixelsAction"), QStringLiteral("defectPixelDialog"));
        QVERIFY(dialog);
        QVERIFY(dialog->findChild<QLabel*>(QStringLiteral("defectCamera"))->text().contains(Listener));
        auto* status = dialog->findChild<QLabel*>(QStringLiteral("defectStatus"));
        auto* factory = dialog->findChild<QTableWidget*>(QStringLiteral("defectFactory"));
        auto* user = dialog->findChild<QTableWidget*>(QStringLiteral("defectUser"));
        // Read as the dialog opens, without a click.
        QTRY_VERIFY_WITH_TIMEOUT(status->text().contains("factory and"), 10000);
        QCOMPARE(tableRows(factory), QStringList({"1 1", "5 0"}));
        QCOMPARE(tableRows(user), QStringList({"3 2"}));

        auto* add = dialog->findChild<QPushButton*>(QStringLiteral("defectAdd"));
        add->click();
        user->item(1, 0)->setText("40");
        user->item(1, 1)->setText("1");
        add->click();
        user->item(2, 0)->setText("7");
        user->item(2, 1)->setText("9");
        dialog->findChild<QPushButton*>(QStringLiteral("defectWrite"))->click();
        QTRY_VERIFY_WITH_TIMEOUT(status->text().contains("3 user pixel"), 10000);
        QCOMPARE(tableRows(user), QStringList({"40 1", "3 2", "7 9"}));
        QVERIFY(!m_viewer.services.status->isDeviceOpen(listener));

        // Removed in the table and written: the camera keeps what was written.
        user->setCurrentCell(0, 0);
        dialog->findChild<QPushButton*>(QStringLiteral("defectRemove"))->click();
        dialog->findChild<QPushButton*>(QStringLiteral("defectWrite"))->click();
        QTRY_VERIFY_WITH_TIMEOUT(status->text().contains("2 user pixel"), 10000);
        user->setRowCount(0);
        dialog->findChild<QPushButton*>(QStringLiteral("defectRead"))->click();
        QTRY_COMPARE_WITH_TIMEOUT(tableRows(user), QStringList({"3 2", "7 9"}), 10000);
    }

    // What the camera can't take is told: a pixel off the sensor left out, a list written while
    // the camera grabs refused with the roster's reason, a cell that holds no number.
    void aListTheCameraCantTakeIsExplained()
    {
        const CameraInfoPtr listener = m_viewer.camera(Listener);
        m_viewer.services.status->setActiveDevice(listener);
        QDialog* dialog = openDialog(QStringLiteral("defectPixelsAction"), QStringLiteral("defectPixelDialog"));
        QVERIFY(dialog);
        auto* user = dialog->findChild<QTableWidget*>(QStringLiteral("defectUser"));
        auto* status = dialog->findChild<QLabel*>(QStringLiteral("defectStatus"));
        auto* write = dialog->findChild<QPushButton*>(QStringLiteral("defectWrite"));
        QTRY_VERIFY_WITH_TIMEOUT(status->text().contains("factory and"), 10000); // read as it opened
        user->setRowCount(0);
        dialog->findChild<QPushButton*>(QStringLiteral("defectAdd"))->click();
        dialog->findChild<QPushButton*>(QStringLiteral("defectAdd"))->click();
        user->item(0, 0)->setText("1000");
        user->item(1, 0)->setText("12");
        write->click();
        QTRY_VERIFY_WITH_TIMEOUT(status->text().contains("factory and"), 10000);
        QVERIFY2(status->text().contains("1 pixel(s) of the written list were left out"), qPrintable(status->text()));
        QCOMPARE(tableRows(user), QStringList({"12 0"}));

        QVERIFY(m_viewer.services.control->open(listener, false));
        m_viewer.services.stream->startGrabbing(listener);
        QTRY_VERIFY_WITH_TIMEOUT(m_viewer.services.status->isCameraGrabbing(listener), 10000);
        write->click();
        QTRY_VERIFY_WITH_TIMEOUT(status->text().contains("Stop the grab first"), 10000);
        QCOMPARE(tableRows(user), QStringList({"12 0"})); // still there to be written once the grab stops
        m_viewer.services.stream->stopGrabbing(listener);
        m_viewer.services.control->close(listener);

        user->item(0, 1)->setText("x");
        write->click();
        QVERIFY2(status->text().contains("Row 1"), qPrintable(status->text()));
    }
};

TAVIX_VIEWER_TEST_MAIN(TestViewerTools)
#include "tst_viewertools.moc"
