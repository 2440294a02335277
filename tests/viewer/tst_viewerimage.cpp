#include "viewerfixture.h"

#include <simscenario.h>

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
constexpr int Width = 40;
constexpr int Height = 12;

// A camera that sends exactly one image, so that the pattern's shift is known: the first frame
// starts one byte into the ramp.
QJsonObject camera(const QString& serial, const QString& pixelFormat, QJsonObject stream = {{"frameLimit", 1}})
{
    const QJsonArray features{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", Width}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", Height}},
        QJsonObject{{"name", "PixelFormat"}, {"type", "enumeration"}, {"value", pixelFormat},
                    {"entries", QJsonArray{"Mono8", "Mono16"}}},
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
    })});
}

// Byte i of the simulated camera's diagonal ramp, line length lineBytes.
int ramp(int i, int lineBytes)
{
    return (i % lineBytes + i / lineBytes) & 0xff;
}

// The camera's value of a pixel of its first image.
int patternValue(int x, int y, int bytesPerPixel)
{
    const int lineBytes = Width * bytesPerPixel;
    const int first = y * lineBytes + x * bytesPerPixel + 1;
    return bytesPerPixel == 1 ? ramp(first, lineBytes) : ramp(first, lineBytes) | ramp(first + 1, lineBytes) << 8;
}

// Answers the next modal dialog: a file dialog with fileName, a message box by closing it
// (its text kept in *message).
void answerNextDialog(const QString& fileName, QString* message = nullptr)
{
    QTimer::singleShot(0, [=] {
        QWidget* modal = QApplication::activeModalWidget();
        if (auto* dialog = qobject_cast<QFileDialog*>(modal)) {
            dialog->selectFile(fileName);
            static_cast<QDialog*>(dialog)->accept(); // QFileDialog hides it
            if (message)
                answerNextDialog(fileName, message);
        } else if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            if (message)
                *message = box->text();
            box->accept();
        } else {
            answerNextDialog(fileName, message);
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
    void grab(const QString& serial, bool active = true)
    {
        const CameraInfoPtr info = m_viewer.camera(serial);
        QVERIFY2(info, qPrintable(serial));
        QVERIFY2(m_viewer.services.control->open(info, false), qPrintable(info->getLastError()));
        if (active)
            m_viewer.services.status->setActiveDevice(info);
        m_viewer.services.stream->startGrabbing(info);
        QVERIFY2(m_viewer.services.status->isCameraGrabbing(info), qPrintable(info->getLastError()));
    }
    // The image view at 1:1 as the screen shows it, once it shows an image.
    QImage shownImage()
    {
        action("zoomActualSize")->trigger();
        [&] { QTRY_VERIFY_WITH_TIMEOUT(action("saveSnapshot")->isEnabled(), 10000); }();
        return m_pView->grab().toImage();
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
    }

    void showsThePatternOfTheActiveCamera_data()
    {
        QTest::addColumn<QString>("serial");
        QTest::addColumn<int>("bytesPerPixel");
        QTest::newRow("Mono8") << Plain << 1;
        QTest::newRow("Mono16, shown by its upper 8 bits") << Wide << 2;
        QTest::newRow("Mono8, compressed") << Compressed << 1;
    }
    // Every pixel of the view is the camera's pattern, and the read-out gives the camera's value.
    void showsThePatternOfTheActiveCamera()
    {
        QFETCH(QString, serial);
        QFETCH(int, bytesPerPixel);
        grab(serial);
        const QImage shown = shownImage();
        QCOMPARE(shown.size(), QSize(Width, Height));
        for (int y = 0; y < Height; ++y) {
            for (int x = 0; x < Width; ++x) {
                const int expected = patternValue(x, y, bytesPerPixel) >> (8 * (bytesPerPixel - 1));
                if (shown.pixel(x, y) != qRgb(expected, expected, expected))
                    QFAIL(qPrintable(QStringLiteral("pixel %1, %2: %3, the pattern has %4").arg(x).arg(y)
                                         .arg(shown.pixel(x, y), 0, 16).arg(expected)));
            }
        }
        // Sent, not moved: the cursor may be where a previous row left it, and then nothing moves.
        QMouseEvent move(QEvent::MouseMove, QPointF(7, 5), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(m_pView, &move);
        QTRY_COMPARE_WITH_TIMEOUT(m_viewer.find<QLabel>("pixelValue")->text(),
                                  QStringLiteral("x 7, y 5: %1").arg(patternValue(7, 5, bytesPerPixel)), 10000);
    }

    // Images of a camera that isn't the active one, and failed images, are not drawn.
    void showsNeitherOtherCamerasNorFailedImages()
    {
        grab(Plain, false);
        grab(Failing);
        QSignalSpy failed(m_viewer.services.status.data(), &Plugin::OptiRoster::ICameraStatusService::cameraImageGrabFailed);
        QTRY_VERIFY_WITH_TIMEOUT(failed.count() > 5, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(m_viewer.window->findChild<QWidget*>("imagePanel")->property("deliveredImages").toULongLong() > 5, 10000);
        QCoreApplication::processEvents();
        QVERIFY(!action("saveSnapshot")->isEnabled());
        QCOMPARE(m_viewer.window->findChild<QWidget*>("imagePanel")->property("displayedImages").toULongLong(), 0ull);
    }

    // The Camera menu's snapshot is a PNG of the shown image; one that can't be written says why.
    void savesTheShownImageAsPng()
    {
        grab(Wide);
        const QImage shown = shownImage();
        QTemporaryDir folder;
        const QString file = folder.filePath("snapshot.png");
        answerNextDialog(file);
        action("saveSnapshotMenu")->trigger();
        const QImage saved(file);
        QCOMPARE(saved.size(), shown.size());
        QCOMPARE(saved.convertToFormat(QImage::Format_RGB32), shown.convertToFormat(QImage::Format_RGB32));

        QString message;
        answerNextDialog(folder.filePath("missing/snapshot.png"), &message);
        action("saveSnapshot")->trigger();
        QVERIFY2(message.contains("can't be written") && message.contains("missing/snapshot.png"), qPrintable(message));
    }
};

TAVIX_VIEWER_TEST_MAIN(TestViewerImage)
#include "tst_viewerimage.moc"
