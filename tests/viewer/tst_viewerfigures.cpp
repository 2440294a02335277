#include "viewerfixture.h"

#include <simscenario.h>

#include <QLabel>

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

const QString Grabbing = QStringLiteral("70000061");
const QString Other = QStringLiteral("70000062");

// A compressing camera at 100 images/s whose every fifth image fails, and a quiet second one.
QString loadWorld()
{
    const QJsonObject stream{{"frameRate", 100},
                             {"failures", QJsonArray{QJsonObject{{"every", 5}, {"text", "Frame lost on the link."}}}}};
    const QJsonArray features{QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 320}},
                              QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 240}}};
    QJsonObject grabbing = TestScenario::camera(Grabbing, stream, features);
    grabbing.insert("compression", QJsonObject{});
    return TestScenario::load({TestScenario::gigeLayer({grabbing, TestScenario::camera(Other)})});
}

// The number a figure's text starts with.
double numberIn(const QLabel* label)
{
    return label->text().section(QLatin1Char(' '), 0, 0).toDouble();
}

} // namespace

class TestViewerFigures : public QObject
{
    Q_OBJECT

private:
    CViewerFixture m_viewer;

    QLabel* figure(const char* name) const { return m_viewer.find<QLabel>(QString::fromLatin1(name)); }
    // Another client of the roster makes the camera active and grabs, as the device tree would.
    void grab(const CameraInfoPtr& camera)
    {
        m_viewer.services.status->setActiveDevice(camera);
        QVERIFY(m_viewer.services.control->open(camera, false));
        m_viewer.services.stream->startGrabbing(camera);
        QVERIFY(m_viewer.services.status->isCameraGrabbing(camera));
    }

private slots:
    void init()
    {
        TavixSim::reset();
        QCOMPARE(loadWorld(), QString());
        QVERIFY(m_viewer.start({QStringLiteral("*ViewerFigures*")}));
        QVERIFY(figure("fpsValue"));
    }
    void cleanup()
    {
        m_viewer.stop();
        TavixSim::clearFaults();
    }

    // Numbers and plot move while the active camera grabs, and start again for another camera.
    void followTheActiveCamerasGrab()
    {
        auto* plot = m_viewer.find<QWidget>(QStringLiteral("ratePlot"));
        QVERIFY(plot);
        QCOMPARE(figure("fpsValue")->text(), QStringLiteral("\u2014"));
        const QImage emptyPlot = plot->grab().toImage();

        const CameraInfoPtr camera = m_viewer.camera(Grabbing);
        grab(camera);
        QCOMPARE(figure("figuresCamera")->text(), camera->getDisplayName());
        QTRY_VERIFY_WITH_TIMEOUT(numberIn(figure("grabbedValue")) > 20, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(numberIn(figure("fpsValue")) > 0, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(numberIn(figure("bandwidthValue")) > 0, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(numberIn(figure("failedValue")) > 0, 10000);
        QVERIFY2(figure("lastFailureValue")->text().contains("Frame lost on the link."), qPrintable(figure("lastFailureValue")->text()));
        QVERIFY2(figure("compressionValue")->text().contains(" : 1"), qPrintable(figure("compressionValue")->text()));
        bool isNumber = false;
        figure("skippedValue")->text().toULongLong(&isNumber);
        QVERIFY(isNumber);
        QTRY_VERIFY_WITH_TIMEOUT(plot->property("pointCount").toInt() >= 3, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(plot->grab().toImage() != emptyPlot, 10000);

        // A camera that doesn't compress, and hasn't grabbed yet: the figures start from nothing.
        m_viewer.services.status->setActiveDevice(m_viewer.camera(Other));
        QCOMPARE(plot->property("pointCount").toInt(), 0);
        QCOMPARE(figure("grabbedValue")->text(), QStringLiteral("0"));
        QCOMPARE(figure("compressionValue")->text(), QStringLiteral("\u2014"));
        QCOMPARE(figure("lastFailureValue")->text(), QStringLiteral("\u2014"));
        m_viewer.services.stream->stopGrabbing(camera);
    }

    // Once the grab stops the rates are 0 and say so, however long ago the last figures came; the
    // counts stay as the grab left them.
    void ratesFallToZeroOnceTheGrabStops()
    {
        const CameraInfoPtr camera = m_viewer.camera(Grabbing);
        grab(camera);
        QTRY_VERIFY_WITH_TIMEOUT(numberIn(figure("fpsValue")) > 0, 10000);
        QCOMPARE(figure("grabState")->text(), QStringLiteral("grabbing"));
        m_viewer.services.stream->stopGrabbing(camera);
        QTRY_COMPARE_WITH_TIMEOUT(figure("fpsValue")->text(), QStringLiteral("0.0 images/s"), 10000);
        QCOMPARE(figure("bandwidthValue")->text(), QStringLiteral("0.00 MB/s"));
        QCOMPARE(figure("grabState")->text(), QStringLiteral("stopped"));
        QVERIFY(numberIn(figure("grabbedValue")) > 0);
    }

    // A new grab of the same camera starts its figures and plot afresh.
    void startAfreshWithANewGrab()
    {
        const CameraInfoPtr camera = m_viewer.camera(Grabbing);
        grab(camera);
        auto* plot = m_viewer.find<QWidget>(QStringLiteral("ratePlot"));
        QTRY_VERIFY_WITH_TIMEOUT(plot->property("pointCount").toInt() >= 4, 10000);
        m_viewer.services.stream->stopGrabbing(camera);
        QTRY_VERIFY_WITH_TIMEOUT(!m_viewer.services.status->isCameraGrabbing(camera), 10000);
        QSignalSpy starts(m_viewer.services.status.data(), &Plugin::OptiRoster::ICameraStatusService::cameraGrabStart);
        m_viewer.services.stream->startGrabbing(camera);
        QTRY_VERIFY_WITH_TIMEOUT(!starts.isEmpty(), 10000);
        QVERIFY(plot->property("pointCount").toInt() <= 2);
        m_viewer.services.stream->stopGrabbing(camera);
    }
};

TAVIX_VIEWER_TEST_MAIN(TestViewerFigures)
#include "tst_viewerfigures.moc"
