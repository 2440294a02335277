#include "viewerfixture.h"

#include <simscenario.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTreeWidget>

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

const QString Serial = QStringLiteral("70000071");

QJsonObject feature(const QString& name, const QString& type, const QJsonValue& value, const QJsonObject& more = {})
{
    QJsonObject object = more;
    object.insert("name", name);
    object.insert("type", type);
    object.insert("value", value);
    return object;
}

// One camera with a feature of each type, limits, and features that can't be written.
QString loadWorld()
{
    const QJsonArray features{
        feature("Width", "integer", 64, {{"min", 16}, {"max", 1024}, {"inc", 16}}),
        feature("Height", "integer", 16, {{"min", 1}, {"max", 512}}),
        feature("FrameCounter", "integer", 0),
        feature("Gain", "float", 1.5, {{"min", 0}, {"max", 24}}),
        feature("PixelFormat", "enumeration", "Mono8", {{"entries", QJsonArray{"Mono8", "Mono16"}}}),
        feature("ReverseX", "boolean", false),
        feature("DeviceUserID", "string", "left"),
        feature("DeviceTemperature", "float", 41.5, {{"access", "RO"}}),
        feature("SensorWidth", "integer", 2048, {{"access", "RO"}}),
        feature("TestPattern", "enumeration", "Off", {{"access", "NA"}, {"entries", QJsonArray{"Off", "Bars"}}}),
    };
    return TestScenario::load({TestScenario::gigeLayer({TestScenario::camera(Serial, {}, features)})});
}

} // namespace

class TestViewerParameters : public QObject
{
    Q_OBJECT

private:
    CViewerFixture m_viewer;
    CameraInfoPtr m_ptrCamera;

    QWidget* editorOf(const QString& feature) const { return m_viewer.find<QWidget>("@CameraDevice/" + feature); }
    QString cameraText(const QString& feature) const
    {
        return m_viewer.services.parameters->getParameterText(m_ptrCamera, "@CameraDevice/" + feature);
    }
    QString reasonOf(const QString& feature) const
    {
        auto* tree = m_viewer.find<QTreeWidget>(QStringLiteral("parametersTree"));
        const auto items = tree->findItems(feature, Qt::MatchExactly | Qt::MatchRecursive);
        return items.isEmpty() ? QStringLiteral("<not shown>") : items.first()->toolTip(2);
    }

private slots:
    void init()
    {
        TavixSim::reset();
        QCOMPARE(loadWorld(), QString());
        QVERIFY(m_viewer.start({QStringLiteral("*ViewerParameters*")}));
        m_ptrCamera = m_viewer.services.enumeration->getTransportLayers().first()->getCameraInfoList().first();
        m_viewer.services.status->setActiveDevice(m_ptrCamera);
        QVERIFY(!editorOf("Width"));
        QVERIFY(m_viewer.services.control->open(m_ptrCamera, false));
        QTRY_VERIFY_WITH_TIMEOUT(editorOf("Width"), 10000);
    }
    void cleanup()
    {
        m_ptrCamera.reset();
        m_viewer.stop();
        TavixSim::clearFaults();
    }

    // Each type has its editor; what a person enters there reaches the camera.
    void editsReachTheCamera_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QString>("entered");
        QTest::addColumn<QString>("expected");
        QTest::newRow("integer in a spin box") << "Width" << "128" << "128";
        QTest::newRow("integer off its increment") << "Width" << "200" << "208";
        QTest::newRow("64-bit integer in a line") << "FrameCounter" << "5000000000" << "5000000000";
        QTest::newRow("float") << "Gain" << "6.25" << "6.25";
        QTest::newRow("enumeration") << "PixelFormat" << "Mono16" << "Mono16";
        QTest::newRow("boolean") << "ReverseX" << "true" << "true";
        QTest::newRow("string") << "DeviceUserID" << "right" << "right";
    }
    void editsReachTheCamera()
    {
        QFETCH(QString, feature);
        QFETCH(QString, entered);
        QFETCH(QString, expected);
        QWidget* editor = editorOf(feature);
        QVERIFY(editor);
        if (auto* spin = editor->findChild<QSpinBox*>()) {
            spin->setValue(entered.toInt());
        } else if (auto* spin = editor->findChild<QDoubleSpinBox*>()) {
            spin->setValue(entered.toDouble());
        } else if (auto* combo = editor->findChild<QComboBox*>()) {
            combo->setCurrentText(entered);
            emit combo->activated(combo->currentIndex());
        } else if (auto* box = editor->findChild<QCheckBox*>()) {
            box->click();
        } else if (auto* line = editor->findChild<QLineEdit*>()) {
            line->setText(entered);
            QTest::keyClick(line, Qt::Key_Return);
        } else {
            QFAIL("no editor");
        }
        QTRY_COMPARE_WITH_TIMEOUT(cameraText(feature).toDouble() == expected.toDouble() ? expected : cameraText(feature), expected, 10000);
        auto* message = m_viewer.find<QLabel>(QStringLiteral("parametersMessage"));
        QTRY_VERIFY_WITH_TIMEOUT(message->text().contains(feature), 10000);
        QCOMPARE(reasonOf(feature), QString());
    }

    // A refused write names its reason next to the feature and below, and the editor shows
    // what the camera still holds.
    void showsWhyAWriteWasRefused()
    {
        TavixSim::injectFault({("SimGigE#" + Serial).toStdString(), "Write:Width", "AccessException", "Width is locked by the sequencer.", 1});
        auto* spin = editorOf("Width")->findChild<QSpinBox*>();
        spin->setValue(256);
        QTRY_VERIFY_WITH_TIMEOUT(reasonOf("Width").contains("locked by the sequencer"), 10000);
        auto* message = m_viewer.find<QLabel>(QStringLiteral("parametersMessage"));
        QVERIFY2(message->text().contains("locked by the sequencer"), qPrintable(message->text()));
        QCOMPARE(spin->value(), 64);
        QCOMPARE(cameraText("Width"), QStringLiteral("64"));

        // The next write goes through and clears the reason.
        spin->setValue(96);
        QTRY_COMPARE_WITH_TIMEOUT(cameraText("Width"), QStringLiteral("96"), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(reasonOf("Width"), QString(), 10000);
    }

    void readOnlyFeaturesCannotBeEdited_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QString>("shown");
        QTest::newRow("read-only float") << "DeviceTemperature" << "41.5";
        QTest::newRow("read-only integer") << "SensorWidth" << "2048";
        QTest::newRow("not available") << "TestPattern" << "(not available)";
    }
    void readOnlyFeaturesCannotBeEdited()
    {
        QFETCH(QString, feature);
        QFETCH(QString, shown);
        QWidget* editor = editorOf(feature);
        QVERIFY(editor);
        for (QWidget* child : editor->findChildren<QWidget*>())
            QVERIFY2(qobject_cast<QLabel*>(child), child->metaObject()->className());
        auto* label = editor->findChild<QLabel*>();
        QVERIFY(label);
        QCOMPARE(label->text().toDouble() != 0 ? QString::number(label->text().toDouble()) : label->text(), shown);
    }

    // Refresh shows what another client wrote; closing the device empties the editor.
    void refreshesAndFollowsTheDevice()
    {
        m_viewer.services.parameters->setParameterText(m_ptrCamera, "@CameraDevice/Height", "300");
        auto* spin = editorOf("Height")->findChild<QSpinBox*>();
        QCOMPARE(spin->value(), 16);
        m_viewer.find<QPushButton>(QStringLiteral("parametersRefresh"))->click();
        QTRY_COMPARE_WITH_TIMEOUT(spin->value(), 300, 10000);

        m_viewer.services.control->close(m_ptrCamera);
        QTRY_VERIFY_WITH_TIMEOUT(!editorOf("Height"), 10000);
        QVERIFY(!m_viewer.find<QPushButton>(QStringLiteral("parametersRefresh"))->isEnabled());
    }
};

TAVIX_VIEWER_TEST_MAIN(TestViewerParameters)
#include "tst_viewerparameters.moc"
