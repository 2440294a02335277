#include "viewerfixture.h"

#include <aravisfixture.h>
#include <simscenario.h>

#include <tavix/sim/testpattern.h>

#include <core/exception/exceptions.h>

#include <QAction>
#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QMouseEvent>
#include <QTemporaryDir>
#include <QTimer>

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

const QString Plain = QStringLiteral("70000061");
const QString Wide = QStringLiteral("70000062");
const QString Compressed = QStringLiteral("70000063");
const QString Failing = QStringLiteral("70000064");
const QString Mosaic = QStringLiteral("70000065");
const QString Deep = QStringLiteral("70000066");
const QString Running = QStringLiteral("70000067");
constexpr int Width = 40;
constexpr int Height = 12;

// A camera that sends exactly one image, so that the pattern's phase is known: the first frame's
// is 1.
QJsonObject camera(const QString& serial, const QString& pixelFormat, QJsonObject stream = {{"frameLimit", 1}})
{
    const QJsonArray features{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", Width}, {"min", 8}, {"max", 64}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", Height}, {"min", 1}, {"max", 64}},
        QJsonObject{{"name", "PixelFormat"}, {"type", "enumeration"}, {"value", pixelFormat},
                    {"entries", QJsonArray{"Mono8", "Mono12", "Mono16", "BayerRG8"}}},
        QJsonObject{{"name", "ChunkModeActive"}, {"type", "boolean"}, {"value", false}},
    };
    return TestScenario::camera(serial, stream, features);
}

QString loadWorld()
{
    QJsonObject compressed = camera(Compressed, "Mono8");
    compressed.insert("compression", QJsonObject{});
    return TestScenario::load({TestScenario::gigeLayer({
        camera(Plain, "Mono8"), camera(Wide, "Mono16"), compressed,
        camera(Failing, "Mono8", {{"frameRate", 200}, {"failures", QJsonArray{QJsonObject{{"every", 1}}}}}),
        camera(Mosaic, "BayerRG8"), camera(Deep, "Mono12"), camera(Running, "Mono8", {{"frameRate", 50}}),
    })});
}

// The camera's value of a pixel of the image of that phase, and what the screen shows of it.
int cameraValue(int x, int y, const QString& pixelFormat, uint64_t phase = 1)
{
    const auto colour = TavixSim::CTestPattern::colourAt(uint32_t(x), uint32_t(y), phase);
    if (pixelFormat == QLatin1String("BayerRG8")) // red and green on even rows, green and blue on odd ones
        return y % 2 == 0 ? (x % 2 == 0 ? colour.red : colour.green) : (x % 2 == 0 ? colour.green : colour.blue);
    const int level = colour.red;
    if (pixelFormat == QLatin1String("Mono16"))
        return (level * 65535 + 127) / 255;
    if (pixelFormat == QLatin1String("Mono12"))
        return (level * 4095 + 127) / 255;
    return level;
}

QRgb shownColour(int x, int y, uint64_t phase = 1, bool colour = false)
{
    const auto c = TavixSim::CTestPattern::colourAt(uint32_t(x), uint32_t(y), phase);
    return colour ? qRgb(c.red, c.green, c.blue) : qRgb(c.red, c.red, c.red);
}

// The first pixel that differs from the pattern of that phase by more than tolerance, or empty.
QString differenceFromPattern(const QImage& shown, uint64_t phase, bool colour, int tolerance)
{
    for (int y = 0; y < shown.height(); ++y) {
        for (int x = 0; x < shown.width(); ++x) {
            const QRgb expected = shownColour(x, y, phase, colour);
            const QRgb pixel = shown.pixel(x, y);
            if (qAbs(qRed(pixel) - qRed(expected)) > tolerance || qAbs(qGreen(pixel) - qGreen(expected)) > tolerance
                || qAbs(qBlue(pixel) - qBlue(expected)) > tolerance)
                return QStringLiteral("pixel %1, %2: %3, the pattern has %4").arg(x).arg(y).arg(pixel, 0, 16).arg(expected, 0, 16);
        }
    }
    return {};
}

// The phase of a shown monochrome picture of the simulated pattern: the one its first row fits.
int phaseOf(const QImage& shown)
{
    for (uint64_t phase = 0; phase < TavixSim::CTestPattern::Period; ++phase) {
        if (differenceFromPattern(shown.copy(0, 0, shown.width(), 1), phase, false, 0).isEmpty())
            return int(phase);
    }
    return -1;
}

// Whether the picture is a diagonal pattern, one colour along each falling diagonal: what a
// camera's test pattern looks like when the image is read at its own width, and doesn't when it
// is read at another (each row then starts where the one before ended, and the diagonals break).
QString diagonalBreak(const QImage& shown)
{
    for (int y = 0; y + 1 < shown.height(); ++y) {
        for (int x = 0; x + 1 < shown.width(); ++x) {
            if (shown.pixel(x + 1, y) != shown.pixel(x, y + 1))
                return QStringLiteral("pixel %1, %2 breaks the diagonal").arg(x + 1).arg(y);
        }
    }
    return {};
}

// Answers the next modal dialog: a file dialog with fileName (its suggestion kept in *suggested),
// a message box by closing it (its text kept in *message).
void answerNextDialog(const QString& fileName, QString* message = nullptr, QString* suggested = nullptr)
{
    QTimer::singleShot(0, [=] {
        QWidget* modal = QApplication::activeModalWidget();
        if (auto* dialog = qobject_cast<QFileDialog*>(modal)) {
            if (suggested && !dialog->selectedFiles().isEmpty())
                *suggested = dialog->selectedFiles().first();
            dialog->selectFile(fileName);
            static_cast<QDialog*>(dialog)->accept(); // QFileDialog hides it
            if (message)
                answerNextDialog(fileName, message);
        } else if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            if (message)
                *message = box->text();
            box->accept();
        } else {
            answerNextDialog(fileName, message, suggested);
        }
    });
}

} // namespace

class TestViewerImage : public QObject
{
    Q_OBJECT

private:
    CViewerFixture m_viewer;
    QWidget* m_pView = nullptr;

    QAction* action(const QString& name) const { return m_viewer.find<QAction>(name); }
    QWidget* panel() const { return m_viewer.window->findChild<QWidget*>("imagePanel"); }
    qulonglong displayed() const { return panel()->property("displayedImages").toULongLong(); }
    QString mark() const { return m_pView->property("mark").toString(); }
    void grab(const CameraInfoPtr& info, bool active = true)
    {
        QVERIFY(info);
        QVERIFY2(m_viewer.services.control->open(info, false), qPrintable(info->getLastError()));
        if (active)
            m_viewer.services.status->setActiveDevice(info);
        m_viewer.services.stream->startGrabbing(info);
        QVERIFY2(m_viewer.services.status->isCameraGrabbing(info), qPrintable(info->getLastError()));
    }
    void grab(const QString& serial, bool active = true) { grab(m_viewer.camera(serial), active); }
    // The image view at 1:1 as the screen shows it, once it shows an image.
    QImage shownImage()
    {
        action("zoomActualSize")->trigger();
        [&] { QTRY_VERIFY_WITH_TIMEOUT(action("saveSnapshot")->isEnabled(), 10000); }();
        return m_pView->grab().toImage();
    }
    // Once the view shows a picture of the size, that picture.
    QImage shownImageOfSize(const QSize& size)
    {
        action("zoomActualSize")->trigger();
        QImage shown;
        [&] {
            QTRY_VERIFY_WITH_TIMEOUT((shown = m_pView->grab().toImage()).size() == size, 20000);
        }();
        return shown;
    }
    QString parameter(const CameraInfoPtr& camera, const QString& name, const QString& value)
    {
        try {
            m_viewer.services.parameters->setParameterText(camera, "@CameraDevice/" + name, value);
        } catch (const Core::Exception::BaseException& e) {
            return e.getMessage();
        }
        return {};
    }

private slots:
    void init()
    {
        TavixSim::reset();
        QCOMPARE(loadWorld(), QString());
        QVERIFY(m_viewer.start({QStringLiteral("*ViewerImage*")}));
        m_pView = m_viewer.find<QWidget>(QStringLiteral("imageView"));
        QVERIFY(m_pView);
    }
    void cleanup()
    {
        m_viewer.stop();
        TavixBackends::setActiveBackends("sim");
    }

    void showsThePatternOfTheActiveCamera_data()
    {
        QTest::addColumn<QString>("serial");
        QTest::addColumn<QString>("pixelFormat");
        QTest::addColumn<int>("tolerance");
        QTest::newRow("Mono8") << Plain << "Mono8" << 0;
        QTest::newRow("Mono16, by its 16 bits") << Wide << "Mono16" << 0;
        QTest::newRow("Mono12, by its 12 bits") << Deep << "Mono12" << 0;
        QTest::newRow("Mono8, compressed") << Compressed << "Mono8" << 0;
        // The interpolation of a mosaic is exact on the pattern's even slopes but at the edges.
        QTest::newRow("BayerRG8, in colour") << Mosaic << "BayerRG8" << 2;
    }
    // Every pixel of the view is the camera's pattern, and the read-out gives the camera's value.
    void showsThePatternOfTheActiveCamera()
    {
        QFETCH(QString, serial);
        QFETCH(QString, pixelFormat);
        QFETCH(int, tolerance);
        grab(serial);
        const QImage shown = shownImage();
        QCOMPARE(shown.size(), QSize(Width, Height));
        const bool colour = pixelFormat.startsWith(QLatin1String("Bayer"));
        const QString difference = differenceFromPattern(shown, 1, colour, tolerance);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
        // Sent, not moved: the cursor may be where a previous row left it, and then nothing moves.
        QMouseEvent move(QEvent::MouseMove, QPointF(7, 5), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(m_pView, &move);
        const QString expected = QStringLiteral("x 7, y 5: %1").arg(cameraValue(7, 5, pixelFormat));
        QTRY_VERIFY_WITH_TIMEOUT(m_viewer.find<QLabel>("pixelValue")->text().startsWith(expected), 10000);
    }

    // Images of a camera that isn't the active one, and failed images, are not drawn.
    void showsNeitherOtherCamerasNorFailedImages()
    {
        grab(Plain, false);
        grab(Failing);
        QSignalSpy failed(m_viewer.services.status.data(), &Plugin::OptiRoster::ICameraStatusService::cameraImageGrabFailed);
        QTRY_VERIFY_WITH_TIMEOUT(failed.count() > 5, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(panel()->property("deliveredImages").toULongLong() > 5, 10000);
        QCoreApplication::processEvents();
        QVERIFY(!action("saveSnapshot")->isEnabled());
        QCOMPARE(displayed(), 0ull);
    }

    // The simulated camera refuses a new width while it grabs, as real cameras do, and the image
    // stays its own; after the stop the new width shows, read by the width the images carry.
    void aWidthChangeDuringAGrabNeverShearsTheImage()
    {
        const CameraInfoPtr info = m_viewer.camera(Running);
        grab(info);
        QImage shown = shownImage();
        QCOMPARE(shown.size(), QSize(Width, Height));
        QVERIFY(phaseOf(shown) >= 0);
        const QString refusal = parameter(info, "Width", "24");
        QVERIFY2(refusal.contains("locked while the camera streams images"), qPrintable(refusal));
        QCOMPARE(m_viewer.services.parameters->getParameterText(info, "@CameraDevice/Width"), QString::number(Width));
        QVERIFY2(phaseOf(m_pView->grab().toImage()) >= 0, "the image is no longer the pattern");

        m_viewer.services.stream->stopGrabbing(info);
        QCOMPARE(parameter(info, "Width", "24"), QString());
        m_viewer.services.stream->startGrabbing(info);
        shown = shownImageOfSize(QSize(24, Height));
        QVERIFY2(phaseOf(shown) >= 0, "the new width's image is not the pattern");
    }

    // Aravis's fake camera takes a width while it streams: each image is shown at the width it
    // came with, never sheared by the camera's settings of the moment.
    void anAravisCameraShowsEachImageAtItsOwnWidth()
    {
        m_viewer.stop();
        AravisFixture::useBackends("sim,aravis", {"Fake"});
        QVERIFY(m_viewer.start({QStringLiteral("*ViewerImage*")}));
        m_pView = m_viewer.find<QWidget>(QStringLiteral("imageView"));
        CameraInfoPtr fake;
        for (const auto& layer : m_viewer.services.enumeration->getTransportLayers()) {
            for (const auto& camera : layer->getCameraInfoList()) {
                if (camera->getVendorName() == QLatin1String("Aravis"))
                    fake = camera;
            }
        }
        QVERIFY(fake);
        grab(fake);
        const int width = m_viewer.services.parameters->getParameterText(fake, "@CameraDevice/Width").toInt();
        const int height = m_viewer.services.parameters->getParameterText(fake, "@CameraDevice/Height").toInt();
        QImage shown = shownImageOfSize(QSize(width, height));
        QString broken = diagonalBreak(shown);
        QVERIFY2(broken.isEmpty(), qPrintable(broken));

        QCOMPARE(parameter(fake, "Width", "256"), QString());
        shown = shownImageOfSize(QSize(256, height));
        broken = diagonalBreak(shown);
        QVERIFY2(broken.isEmpty(), qPrintable(broken));
        m_viewer.services.stream->stopGrabbing(fake);
        m_viewer.services.control->close(fake);
    }

    // Once the grab stops, or the camera is lost, the last picture stays with a mark saying so;
    // a new grab takes the mark away.
    void aStoppedOrLostCameraMarksItsLastImage()
    {
        const CameraInfoPtr info = m_viewer.camera(Running);
        grab(info);
        shownImage();
        QCOMPARE(mark(), QString());
        m_viewer.services.stream->stopGrabbing(info);
        QTRY_VERIFY_WITH_TIMEOUT(mark().startsWith("Stopped"), 10000);
        QVERIFY(action("saveSnapshot")->isEnabled()); // the picture is still there

        m_viewer.services.stream->startGrabbing(info);
        QTRY_COMPARE_WITH_TIMEOUT(mark(), QString(), 10000);
        TavixSim::loseDevice(("SimGigE#" + Running).toStdString());
        QTRY_VERIFY_WITH_TIMEOUT(mark().startsWith("Lost"), 10000);
    }

    // The Camera menu's snapshot is a PNG of the shown image, offered under a name that says what
    // it is; once written the panel says where. One that can't be written says why.
    void savesTheShownImageAsPng()
    {
        grab(Wide);
        const QImage shown = shownImage();
        QTemporaryDir folder;
        const QString file = folder.filePath("snapshot.png");
        QString suggested;
        answerNextDialog(file, nullptr, &suggested);
        action("saveSnapshotMenu")->trigger();
        const QRegularExpression name(QStringLiteral("Sim_camera_%1_40x12_Mono16_\\d{8}-\\d{6}\\.png$").arg(Wide));
        QVERIFY2(name.match(suggested).hasMatch(), qPrintable(suggested));
        const QImage saved(file);
        QCOMPARE(saved.size(), shown.size());
        QCOMPARE(saved.convertToFormat(QImage::Format_RGB32), shown.convertToFormat(QImage::Format_RGB32));
        const QString said = m_viewer.find<QLabel>("snapshotSaved")->text();
        QVERIFY2(said.startsWith("Saved") && said.contains("snapshot.png"), qPrintable(said));

        QString message;
        answerNextDialog(folder.filePath("missing/snapshot.png"), &message);
        action("saveSnapshot")->trigger();
        QVERIFY2(message.contains("can't be written") && message.contains("missing/snapshot.png"), qPrintable(message));
    }
};

TAVIX_VIEWER_TEST_MAIN(TestViewerImage)
#include "tst_viewerimage.moc"
