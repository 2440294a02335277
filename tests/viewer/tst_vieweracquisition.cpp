#include "viewerfixture.h"

#include <simscenario.h>

#include <QAbstractSpinBox>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSlider>
#include <QTemporaryDir>
#include <QTimer>

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

const QString First = QStringLiteral("70000081");
const QString Second = QStringLiteral("70000082");

using TestScenario::feature;

// Two cameras of one model with the acquisition features; the simulator describes them by their
// standard names and gives them their effects.
QString loadWorld()
{
    const QJsonArray features{
        feature("AcquisitionFrameRateEnable", "boolean", true),
        feature("AcquisitionFrameRate", "float", 100.0, {{"min", 1.0}, {"max", 1000.0}}),
        feature("ExposureTime", "float", 5000.0, {{"min", 20.0}, {"max", 100000.0}}),
        feature("ExposureAuto", "enumeration", "Off", {{"entries", QJsonArray{"Off", "Once", "Continuous"}}}),
        feature("Gain", "float", 0.0, {{"min", 0.0}, {"max", 24.0}}),
        feature("BlackLevel", "float", 0.0, {{"min", 0.0}, {"max", 32.0}}),
        feature("PixelFormat", "enumeration", "Mono8", {{"entries", QJsonArray{"Mono8", "Mono16"}}}),
        feature("SensorWidth", "integer", 256, {{"access", "RO"}}),
        feature("Width", "integer", 64, {{"min", 16}, {"max", 256}, {"inc", 16}}),
        feature("Height", "integer", 32, {{"min", 1}, {"max", 128}}),
        feature("OffsetX", "integer", 0, {{"min", 0}, {"max", 192}, {"inc", 16}}),
        feature("TriggerMode", "enumeration", "Off", {{"entries", QJsonArray{"Off", "On"}}}),
        feature("TriggerSource", "enumeration", "Software", {{"entries", QJsonArray{"Software", "Line1"}}}),
        feature("TriggerSoftware", "command", QJsonValue()),
        feature("UserSetSelector", "enumeration", "Default", {{"entries", QJsonArray{"Default", "UserSet1"}}}),
        feature("UserSetLoad", "command", QJsonValue()),
        feature("UserSetSave", "command", QJsonValue()),
    };
    const QJsonObject stream{{"frameRate", 1000}};
    return TestScenario::load({TestScenario::gigeLayer(
        {TestScenario::camera(First, stream, features), TestScenario::camera(Second, stream, features)})});
}

} // namespace

class TestViewerAcquisition : public QObject
{
    Q_OBJECT

private:
    CViewerFixture m_viewer;
    CameraInfoPtr m_ptrFirst;
    CameraInfoPtr m_ptrSecond;
    QTemporaryDir m_folder;

    QWidget* controlOf(const QString& feature) const { return m_viewer.find<QWidget>("acquisition/" + feature); }
    template <class Widget>
    Widget* partOf(const QString& feature, const QString& part) const
    {
        QWidget* control = controlOf(feature);
        return control ? control->findChild<Widget*>(part) : nullptr;
    }
    QString shownIn(const QString& feature) const
    {
        if (auto* box = partOf<QAbstractSpinBox>(feature, "box"))
            return box->text();
        if (auto* choice = partOf<QComboBox>(feature, "choice"))
            return choice->currentText();
        if (auto* check = partOf<QCheckBox>(feature, "check"))
            return check->isChecked() ? "true" : "false";
        return QStringLiteral("<no control>");
    }
    QString cameraText(const CameraInfoPtr& camera, const QString& feature) const
    {
        return m_viewer.services.parameters->getParameterText(camera, "@CameraDevice/" + feature);
    }
    QString message() const { return m_viewer.find<QLabel>(QStringLiteral("acquisitionMessage"))->text(); }
    // The same number, however the camera or the control writes it.
    static bool sameValue(const QString& shown, const QString& expected)
    {
        bool numbers = false;
        const double value = shown.toDouble(&numbers);
        return numbers ? qFuzzyCompare(value + 1.0, expected.toDouble() + 1.0) : shown == expected;
    }
    void makeActiveAndOpen(const CameraInfoPtr& camera)
    {
        m_viewer.services.status->setActiveDevice(camera);
        QVERIFY(m_viewer.services.control->open(camera, false));
        QTRY_VERIFY_WITH_TIMEOUT(partOf<QAbstractSpinBox>("ExposureTime", "box"), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(shownIn("Width"), cameraText(camera, "Width"), 10000);
    }
    // Answers the next file dialog with the file, as a person picks it.
    static void answerFileDialog(const QString& fileName)
    {
        auto* timer = new QTimer;
        timer->setInterval(20);
        QObject::connect(timer, &QTimer::timeout, timer, [timer, fileName] {
            auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            timer->deleteLater();
            timer->stop();
            dialog->selectFile(fileName);
            if (auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit")))
                name->setText(fileName);
            QMetaObject::invokeMethod(dialog, "accept", Qt::QueuedConnection);
        });
        timer->start();
    }
    QAction* action(const QString& name) const { return m_viewer.find<QAction>(name); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid());
    }
    void init()
    {
        TavixSim::reset();
        QCOMPARE(loadWorld(), QString());
        QVERIFY(m_viewer.start({QStringLiteral("*ViewerAcquisition*")}));
        const auto cameras = m_viewer.services.enumeration->getTransportLayers().first()->getCameraInfoList();
        QCOMPARE(cameras.size(), 2);
        m_ptrFirst = cameras[0]->getSerialNumber() == First ? cameras[0] : cameras[1];
        m_ptrSecond = cameras[0]->getSerialNumber() == First ? cameras[1] : cameras[0];
        QVERIFY(!controlOf("ExposureTime")->isVisibleTo(m_viewer.window.get()));
        makeActiveAndOpen(m_ptrFirst);
    }
    void cleanup()
    {
        if (QWidget* modal = QApplication::activeModalWidget())
            modal->close();
        m_ptrFirst.reset();
        m_ptrSecond.reset();
        m_viewer.stop();
        TavixSim::clearFaults();
    }

    // What a person sets in a control reaches the camera, and the control follows what another
    // client writes.
    void controlsAndFeaturesMoveTogether_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QString>("set");         // through the control
        QTest::addColumn<QString>("writtenElsewhere"); // by another client
        QTest::newRow("number in the box") << "ExposureTime" << "12000" << "800";
        QTest::newRow("number on the slider") << "Gain" << "<maximum>" << "6";
        QTest::newRow("integer of an increment") << "OffsetX" << "32" << "48";
        QTest::newRow("enumeration") << "ExposureAuto" << "Continuous" << "Off";
        QTest::newRow("boolean") << "AcquisitionFrameRateEnable" << "false" << "true";
        QTest::newRow("trigger source") << "TriggerSource" << "Line1" << "Software";
    }
    void controlsAndFeaturesMoveTogether()
    {
        QFETCH(QString, feature);
        QFETCH(QString, set);
        QFETCH(QString, writtenElsewhere);
        QString expected = set;
        if (set == "<maximum>") {
            auto* slider = partOf<QSlider>(feature, "slider");
            QVERIFY(slider);
            slider->setValue(slider->maximum());
            expected = "24";
        } else if (auto* choice = partOf<QComboBox>(feature, "choice")) {
            choice->setCurrentText(set);
            emit choice->activated(choice->currentIndex());
        } else if (auto* check = partOf<QCheckBox>(feature, "check")) {
            QCOMPARE(check->isChecked() ? "true" : "false", set == "true" ? "false" : "true");
            check->click();
        } else {
            CViewerFixture::type(partOf<QAbstractSpinBox>(feature, "box"), set);
        }
        QTRY_VERIFY_WITH_TIMEOUT(sameValue(cameraText(m_ptrFirst, feature), expected), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(sameValue(shownIn(feature), expected), 10000);
        QVERIFY2(!message().contains("refused"), qPrintable(message()));

        if (feature == "ExposureAuto") // the exposure is the camera's own while it's automatic
            QTRY_VERIFY_WITH_TIMEOUT(partOf<QAbstractSpinBox>("ExposureTime", "box")->isReadOnly(), 10000);
        m_viewer.services.parameters->setParameterText(m_ptrFirst, "@CameraDevice/" + feature, writtenElsewhere);
        QTRY_VERIFY_WITH_TIMEOUT(sameValue(shownIn(feature), writtenElsewhere), 10000);
    }

    // A number the feature can't take is refused with its range and never written.
    void aNumberOutOfRangeIsRefused()
    {
        CViewerFixture::type(partOf<QAbstractSpinBox>("ExposureTime", "box"), "5");
        QTRY_VERIFY_WITH_TIMEOUT(message().contains("out of range"), 10000);
        QCOMPARE(cameraText(m_ptrFirst, "ExposureTime").toDouble(), 5000.0);
        QTRY_VERIFY_WITH_TIMEOUT(sameValue(shownIn("ExposureTime"), "5000"), 10000);
    }

    // A size the camera takes only while stopped is written by stopping the grab, writing and
    // starting again, and the panel tells so; images of the new size follow.
    void aSizeChangeStopsWritesAndStartsTheGrabAgain()
    {
        const auto* status = m_viewer.services.status.data();
        m_viewer.services.stream->startGrabbing(m_ptrFirst);
        QTRY_VERIFY_WITH_TIMEOUT(m_viewer.services.status->isCameraGrabbing(m_ptrFirst), 10000);
        QSignalSpy stopped(status, &Plugin::OptiRoster::ICameraStatusService::cameraGrabStopped);
        QSignalSpy started(status, &Plugin::OptiRoster::ICameraStatusService::cameraGrabStarted);
        QTRY_VERIFY_WITH_TIMEOUT(partOf<QAbstractSpinBox>("Width", "box")->isEnabled(), 10000);
        CViewerFixture::type(partOf<QAbstractSpinBox>("Width", "box"), "128");
        QTRY_VERIFY2_WITH_TIMEOUT(started.count() == 1, qPrintable(message()), 10000);
        QCOMPARE(stopped.count(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(message().contains("stopped for the change and started again"), 10000);
        QCOMPARE(cameraText(m_ptrFirst, "Width"), QStringLiteral("128"));
        QCOMPARE(shownIn("Width"), QStringLiteral("128"));
        QVERIFY(m_viewer.services.status->isCameraGrabbing(m_ptrFirst));
        m_viewer.services.stream->stopGrabbing(m_ptrFirst);
    }

    // With the trigger on, the button takes one image for each press.
    void theSoftwareTriggerTakesAnImage()
    {
        auto* mode = partOf<QComboBox>("TriggerMode", "choice");
        mode->setCurrentText("On");
        emit mode->activated(mode->currentIndex());
        QTRY_COMPARE_WITH_TIMEOUT(cameraText(m_ptrFirst, "TriggerMode"), QStringLiteral("On"), 10000);
        QSignalSpy grabbed(m_viewer.services.status.data(), &Plugin::OptiRoster::ICameraStatusService::cameraImageGrabbedInfo);
        m_viewer.services.stream->startGrabbing(m_ptrFirst);
        QTRY_VERIFY_WITH_TIMEOUT(partOf<QPushButton>("TriggerSoftware", "button")
                                     && partOf<QPushButton>("TriggerSoftware", "button")->isEnabled(), 10000);
        QCOMPARE(grabbed.count(), 0);
        partOf<QPushButton>("TriggerSoftware", "button")->click();
        QTRY_COMPARE_WITH_TIMEOUT(grabbed.count(), 1, 10000);
        m_viewer.services.stream->stopGrabbing(m_ptrFirst);
    }

    // The settings saved from one camera load onto a fresh camera of its model; what the camera
    // refuses is told feature by feature, and the rest is written all the same.
    void savedSettingsLoadOntoAFreshCamera()
    {
        for (const auto& setting : {qMakePair(QString("ExposureTime"), QString("20000")), qMakePair(QString("Gain"), QString("12")),
                                    qMakePair(QString("Width"), QString("160")), qMakePair(QString("OffsetX"), QString("64")),
                                    qMakePair(QString("PixelFormat"), QString("Mono16"))})
            m_viewer.services.parameters->setParameterText(m_ptrFirst, "@CameraDevice/" + setting.first, setting.second);
        const QString fileName = m_folder.filePath("first.tvxsettings");
        answerFileDialog(fileName);
        action("saveCameraSettings")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(message().startsWith("Saved"), 10000);
        QFile file(fileName);
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(message()));
        QByteArray text = file.readAll();
        file.close();
        QVERIFY(text.startsWith("# Tavix Viewer camera settings\n"));
        QVERIFY2(text.contains("\nExposureTime\t20000\n"), text.constData());
        QVERIFY(!text.contains("TriggerSoftware")); // commands aren't settings
        QVERIFY(!text.contains("SensorWidth"));     // nor what can't be written
        // The width comes before its offset, which it leaves room for.
        QVERIFY(text.indexOf("\nWidth\t") < text.indexOf("\nOffsetX\t"));
        // Edited by hand: a gain the camera can't take and a feature it hasn't.
        text.replace("\nGain\t12\n", "\nGain\t99\nNoSuchFeature\t1\n");
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.close();

        makeActiveAndOpen(m_ptrSecond);
        answerFileDialog(fileName);
        action("loadCameraSettings")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(message().startsWith("Loaded"), 10000);
        QVERIFY2(message().contains("2 refused"), qPrintable(message()));
        for (const auto& setting : {qMakePair(QString("ExposureTime"), QString("20000")), qMakePair(QString("Width"), QString("160")),
                                    qMakePair(QString("OffsetX"), QString("64")), qMakePair(QString("PixelFormat"), QString("Mono16"))})
            QVERIFY2(sameValue(cameraText(m_ptrSecond, setting.first), setting.second), qPrintable(setting.first));
        QCOMPARE(cameraText(m_ptrSecond, "Gain").toDouble(), 0.0);
        auto* report = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        QVERIFY(report);
        QVERIFY2(report->informativeText().contains("Gain: ") && report->informativeText().contains("out of range"),
                 qPrintable(report->informativeText()));
        QVERIFY(report->informativeText().contains("NoSuchFeature: The camera has no such feature."));
        report->close();
        QTRY_VERIFY_WITH_TIMEOUT(sameValue(shownIn("ExposureTime"), "20000"), 10000);
    }

    // Settings of another model, or a file that is none, load nothing and say why.
    void foreignSettingsAreRefusedWhole_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("reason");
        QTest::newRow("another model") << QByteArray("# Tavix Viewer camera settings\n# Vendor: Vorlan\n# Model: sim99\nGain\t6\n")
                                       << "This camera is a Vorlan sim64";
        QTest::newRow("no settings") << QByteArray("Gain=6\n") << "This is no file of camera settings";
        QTest::newRow("a broken line") << QByteArray("# Tavix Viewer camera settings\n# Vendor: Vorlan\n# Model: sim64\nGain 6\n")
                                       << "Line 4 is no feature's setting";
    }
    void foreignSettingsAreRefusedWhole()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, reason);
        const QString fileName = m_folder.filePath("foreign.tvxsettings");
        QFile file(fileName);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(text);
        file.close();
        answerFileDialog(fileName);
        action("loadCameraSettings")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(message().startsWith("The settings were not loaded"), 10000);
        QVERIFY2(message().contains(reason, Qt::CaseInsensitive), qPrintable(message()));
        QCOMPARE(cameraText(m_ptrFirst, "Gain").toDouble(), 0.0);
    }

    // The user set buttons save the camera's values in a set and load them back.
    void userSetsKeepValues()
    {
        auto* selector = partOf<QComboBox>("UserSetSelector", "choice");
        QVERIFY(selector);
        selector->setCurrentText("UserSet1");
        emit selector->activated(selector->currentIndex());
        QTRY_COMPARE_WITH_TIMEOUT(cameraText(m_ptrFirst, "UserSetSelector"), QStringLiteral("UserSet1"), 10000);
        m_viewer.services.parameters->setParameterText(m_ptrFirst, "@CameraDevice/Gain", "9");
        QTRY_VERIFY_WITH_TIMEOUT(partOf<QPushButton>("UserSetSave", "button")->isEnabled(), 10000);
        partOf<QPushButton>("UserSetSave", "button")->click();
        QTRY_VERIFY2_WITH_TIMEOUT(message().contains("done"), qPrintable(message()), 10000);
        m_viewer.services.parameters->setParameterText(m_ptrFirst, "@CameraDevice/Gain", "3");
        QTRY_VERIFY_WITH_TIMEOUT(sameValue(shownIn("Gain"), "3"), 10000);
        partOf<QPushButton>("UserSetLoad", "button")->click();
        QTRY_VERIFY_WITH_TIMEOUT(sameValue(cameraText(m_ptrFirst, "Gain"), "9"), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(sameValue(shownIn("Gain"), "9"), 10000);
    }
};

TAVIX_VIEWER_TEST_MAIN(TestViewerAcquisition)
#include "tst_vieweracquisition.moc"
