// Looking at images: the histogram and the figures of the whole image or of a rectangle drawn on
// it, the marking of saturated pixels, the zoom around the cursor, turning and flipping, and the
// grid of every grabbing camera.
#include "viewerfixture.h"

#include "imagestatistics.h"

#include <simscenario.h>

#include <tavix/sim/testpattern.h>

#include <QAction>
#include <QCheckBox>
#include <QFileDialog>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTimer>

using Core::OptiRosterComponents::CameraInfoPtr;
using Viewer::CImageStatistics;

namespace {

const QString Plain = QStringLiteral("70000081");  // one image, phase 1
const QString Large = QStringLiteral("70000082");  // one image, phase 1, with saturated pixels
const QString Narrow = QStringLiteral("70000083"); // live
const QString Square = QStringLiteral("70000084"); // live
const QString Wide = QStringLiteral("70000085");   // live
constexpr int Width = 40;
constexpr int Height = 12;
const QSize LargeSize(320, 240);

QJsonObject camera(const QString& serial, int width, int height, const QJsonObject& stream = {{"frameLimit", 1}})
{
    const QJsonArray features{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", width}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", height}},
        QJsonObject{{"name", "ChunkModeActive"}, {"type", "boolean"}, {"value", false}},
    };
    // One image by default: the pattern's phase is 1.
    return TestScenario::camera(serial, stream, features);
}

// The simulated camera's Mono8 image, its pattern of that phase.
QImage pattern(int width, int height, uint64_t phase = 1)
{
    QImage image(width, height, QImage::Format_Grayscale8);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.scanLine(y)[x] = TavixSim::CTestPattern::colourAt(uint32_t(x), uint32_t(y), phase).red;
    }
    return image;
}

// Whether the picture is the pattern of the camera's size, at whatever phase the image had.
bool isPattern(const QImage& shown)
{
    const QImage grey = shown.convertToFormat(QImage::Format_Grayscale8);
    for (uint64_t phase = 0; phase < TavixSim::CTestPattern::Period; ++phase) {
        if (grey == pattern(shown.width(), shown.height(), phase))
            return true;
    }
    return false;
}

// The texts the histogram panel shows for the pattern's values in the rectangle.
QStringList expectedFigures(const QImage& image, const QRect& r)
{
    int minimum = 255;
    int maximum = 0;
    double sum = 0;
    for (int y = r.top(); y <= r.bottom(); ++y) {
        for (int x = r.left(); x <= r.right(); ++x) {
            const int v = image.constScanLine(y)[x];
            minimum = std::min(minimum, v);
            maximum = std::max(maximum, v);
            sum += v;
        }
    }
    return {"Grey", QString::number(minimum), QString::number(maximum), QString::number(sum / (r.width() * r.height()), 'f', 2)};
}

QStringList shownFigures(QTableWidget* table)
{
    QStringList cells;
    for (int column = 0; column < 4 && table->rowCount() > 0; ++column)
        cells << table->item(0, column)->text();
    return cells;
}

void sendMouse(QWidget* widget, QEvent::Type type, const QPoint& position, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, position, type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons, Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
}

// Answers the next file dialog with fileName.
void answerFileDialog(const QString& fileName)
{
    QTimer::singleShot(0, [=] {
        if (auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
            dialog->selectFile(fileName);
            static_cast<QDialog*>(dialog)->accept();
        } else {
            answerFileDialog(fileName);
        }
    });
}

} // namespace

class TestViewerLooking : public QObject
{
    Q_OBJECT

private:
    CViewerFixture m_viewer;
    QWidget* m_pView = nullptr;

    QAction* action(const QString& name) const { return m_viewer.find<QAction>(name); }
    void grab(const QString& serial, bool active = true)
    {
        const CameraInfoPtr info = m_viewer.camera(serial);
        QVERIFY(info);
        QVERIFY2(m_viewer.services.control->open(info, false), qPrintable(info->getLastError()));
        if (active)
            m_viewer.services.status->setActiveDevice(info);
        m_viewer.services.stream->startGrabbing(info);
    }
    // The view at 1:1 once it shows a picture of that size.
    QImage shownAtActualSize(const QSize& size)
    {
        action("zoomActualSize")->trigger();
        QImage shown;
        [&] { QTRY_VERIFY_WITH_TIMEOUT((shown = m_pView->grab().toImage()).size() == size, 20000); }();
        return shown.convertToFormat(QImage::Format_Grayscale8);
    }
    QString pixelText(const QPoint& at)
    {
        sendMouse(m_pView, QEvent::MouseMove, at, Qt::NoButton);
        return m_viewer.find<QLabel>("pixelValue")->text();
    }

private slots:
    void init()
    {
        TavixSim::reset();
        const QJsonObject live{{"frameRate", 30}};
        QCOMPARE(TestScenario::load({TestScenario::gigeLayer({camera(Plain, Width, Height),
                                                               camera(Large, LargeSize.width(), LargeSize.height()),
                                                               camera(Narrow, 16, 8, live), camera(Square, 24, 24, live),
                                                               camera(Wide, Width, Height, live)})}),
                 QString());
        QVERIFY(m_viewer.start({QStringLiteral("*ViewerImage*")}));
        m_pView = m_viewer.find<QWidget>(QStringLiteral("imageView"));
        QVERIFY(m_pView);
    }
    void cleanup() { m_viewer.stop(); }

    void theFiguresOfKnownValues_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<int>("depth");
        QTest::addColumn<int>("bayer");
        QTest::addColumn<QRect>("region");
        // Per channel: minimum, maximum, mean, standard deviation; then the saturated pixels.
        QTest::addColumn<QList<QList<double>>>("channels");
        QTest::addColumn<int>("saturated");
        QImage mono(4, 2, QImage::Format_Grayscale8);
        const uchar monoValues[] = {0, 10, 20, 255, 5, 5, 5, 255};
        for (int i = 0; i < 8; ++i)
            mono.scanLine(i / 4)[i % 4] = monoValues[i];
        QTest::newRow("Mono8, all of it") << mono << 8 << int(Tavix::BayerOrder_None) << QRect()
                                          << QList<QList<double>>{{0, 255, 69.375, 107.3091}} << 2;
        QTest::newRow("Mono8, a rectangle") << mono << 8 << int(Tavix::BayerOrder_None) << QRect(1, 0, 2, 2)
                                            << QList<QList<double>>{{5, 20, 10.0, 6.1237}} << 0;
        QImage deep(2, 2, QImage::Format_Grayscale16);
        const quint16 deepValues[] = {4095, 100, 300, 5000}; // a stray value beyond 12 bits counts as the top
        for (int i = 0; i < 4; ++i)
            reinterpret_cast<quint16*>(deep.scanLine(i / 2))[i % 2] = deepValues[i];
        QTest::newRow("Mono12 in 16 bits") << deep << 12 << int(Tavix::BayerOrder_None) << QRect()
                                           << QList<QList<double>>{{100, 4095, 2147.5, 1948.7833}} << 2;
        QImage mosaic(4, 2, QImage::Format_Grayscale8);
        const uchar mosaicValues[] = {200, 100, 200, 120, 110, 255, 110, 255}; // R G R G / G B G B
        for (int i = 0; i < 8; ++i)
            mosaic.scanLine(i / 4)[i % 4] = mosaicValues[i];
        QTest::newRow("BayerRG8 by its sites") << mosaic << 8 << int(Tavix::BayerOrder_RG) << QRect()
                                               << QList<QList<double>>{{200, 200, 200, 0}, {100, 120, 110, 7.0711}, {255, 255, 255, 0}}
                                               << 2;
    }
    void theFiguresOfKnownValues()
    {
        QFETCH(QImage, image);
        QFETCH(int, depth);
        QFETCH(int, bayer);
        QFETCH(QRect, region);
        QFETCH(QList<QList<double>>, channels);
        QFETCH(int, saturated);
        const CImageStatistics statistics = CImageStatistics::of(image, depth, Tavix::EBayerOrder(bayer), region);
        QCOMPARE(statistics.channels.size(), channels.size());
        QCOMPARE(int(statistics.saturated), saturated);
        QCOMPARE(statistics.wholeImage, region.isEmpty());
        for (int c = 0; c < channels.size(); ++c) {
            const auto& channel = statistics.channels[c];
            QCOMPARE(channel.minimum, int(channels[c][0]));
            QCOMPARE(channel.maximum, int(channels[c][1]));
            QVERIFY2(qAbs(channel.mean - channels[c][2]) < 1e-3, qPrintable(QString::number(channel.mean)));
            QVERIFY2(qAbs(channel.standardDeviation - channels[c][3]) < 1e-3, qPrintable(QString::number(channel.standardDeviation)));
            quint64 counted = 0;
            for (quint32 count : channel.histogram)
                counted += count;
            // Every pixel is in a bin, each of a mosaic's in its colour's: half the sites are green.
            const quint64 sites = channels.size() == 1 ? statistics.pixels : statistics.pixels / (c == 1 ? 2 : 4);
            QCOMPARE(counted, sites);
        }
    }

    // The histogram panel shows the figures of the shown image, then of a rectangle drawn on it,
    // then of all of it again; marked, the saturated pixels are red on the picture.
    void theHistogramPanelShowsTheImageAndTheDrawnRectangle()
    {
        grab(Large);
        const QImage expected = pattern(LargeSize.width(), LargeSize.height());
        QCOMPARE(shownAtActualSize(LargeSize), expected);
        auto* table = m_viewer.find<QTableWidget>("histogramFigures");
        auto* area = m_viewer.find<QLabel>("histogramArea");
        QTRY_COMPARE_WITH_TIMEOUT(shownFigures(table), expectedFigures(expected, expected.rect()), 10000);
        QVERIFY2(area->text().contains("Whole image, 320 x 240"), qPrintable(area->text()));

        sendMouse(m_pView, QEvent::MouseButtonPress, QPoint(5, 2), Qt::LeftButton);
        sendMouse(m_pView, QEvent::MouseMove, QPoint(10, 5), Qt::LeftButton);
        sendMouse(m_pView, QEvent::MouseButtonRelease, QPoint(14, 7), Qt::NoButton);
        QCOMPARE(shownFigures(table), expectedFigures(expected, QRect(5, 2, 10, 6)));
        QVERIFY2(area->text().contains("Region x 5, y 2, 10 x 6"), qPrintable(area->text()));
        m_viewer.find<QPushButton>("histogramWholeImage")->click();
        QCOMPARE(shownFigures(table), expectedFigures(expected, expected.rect()));

        int saturated = 0;
        for (int y = 0; y < expected.height(); ++y)
            saturated += int(std::count(expected.constScanLine(y), expected.constScanLine(y) + expected.width(), uchar(255)));
        QVERIFY(saturated > 0);
        QVERIFY2(m_viewer.find<QLabel>("saturatedPixels")->text().startsWith(QStringLiteral("Saturated: %1 of 76800").arg(saturated)),
                 qPrintable(m_viewer.find<QLabel>("saturatedPixels")->text()));
        m_viewer.find<QCheckBox>("markSaturated")->setChecked(true);
        const QImage marked = m_pView->grab().toImage();
        for (int y = 0; y < expected.height(); ++y) {
            for (int x = 0; x < expected.width(); ++x) {
                const bool red = marked.pixel(x, y) == qRgb(255, 0, 0);
                QVERIFY2(red == (expected.constScanLine(y)[x] == 255), qPrintable(QStringLiteral("pixel %1, %2").arg(x).arg(y)));
            }
        }
    }

    // The wheel zooms around the cursor: the pixel under it stays under it. Steps, 1:1 and fit.
    void theWheelZoomsAroundTheCursor()
    {
        grab(Large);
        shownAtActualSize(LargeSize);
        const QPoint at(161, 117);
        const QString before = pixelText(at);
        QVERIFY2(before.startsWith("x 161, y 117: "), qPrintable(before));
        QWidget* viewport = m_viewer.find<QWidget>("imageScrollArea")->findChild<QWidget*>("qt_scrollarea_viewport");
        const QPoint atViewport = m_pView->mapTo(viewport, at);
        QWheelEvent wheel(QPointF(at), m_pView->mapToGlobal(at), QPoint(), QPoint(0, 960), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(m_pView, &wheel);
        QCOMPARE(m_pView->property("zoom").toDouble(), 4.0); // eight notches: four notches double the size
        QCOMPARE(pixelText(m_pView->mapFrom(viewport, atViewport)), before);
        QVERIFY(!action("zoomActualSize")->isChecked() && !action("zoomToFit")->isChecked());
        action("zoomOut")->trigger();
        QVERIFY(qAbs(m_pView->property("zoom").toDouble() - 4.0 / std::sqrt(2.0)) < 1e-9);
        action("zoomActualSize")->trigger();
        QCOMPARE(m_pView->property("zoom").toDouble(), 1.0);
        action("zoomToFit")->trigger();
        QVERIFY(action("zoomToFit")->isChecked());
        QCOMPARE(m_pView->size(), m_viewer.find<QWidget>("imageScrollArea")->findChild<QWidget*>("qt_scrollarea_viewport")->size());
    }

    // Turned and flipped, the picture is the pattern turned, the read-out names the sensor's pixel,
    // and a snapshot is what is shown.
    void turnsAndFlipsTheDisplayAndTheSnapshot()
    {
        grab(Plain);
        const QImage expected = pattern(Width, Height);
        shownAtActualSize(QSize(Width, Height));
        action("rotateRight")->trigger();
        QCOMPARE(shownAtActualSize(QSize(Height, Width)), expected.transformed(QTransform().rotate(90)));
        // The shown picture's top-left is the sensor's bottom-left.
        QVERIFY2(pixelText(QPoint(0, 0)).startsWith(QStringLiteral("x 0, y %1: ").arg(Height - 1)), qPrintable(pixelText({0, 0})));
        action("flipHorizontally")->trigger();
        QCOMPARE(shownAtActualSize(QSize(Height, Width)), expected.transformed(QTransform().rotate(90)).mirrored(true, false));
        QTemporaryDir folder;
        answerFileDialog(folder.filePath("turned.png"));
        action("saveSnapshot")->trigger();
        const QImage saved(folder.filePath("turned.png"));
        QCOMPARE(saved.convertToFormat(QImage::Format_Grayscale8), expected.transformed(QTransform().rotate(90)).mirrored(true, false));
        // Two more flips and turns bring it back.
        action("flipHorizontally")->trigger();
        action("rotateLeft")->trigger();
        QCOMPARE(shownAtActualSize(QSize(Width, Height)), expected);
    }

    // The grid shows every grabbing camera's own pattern with its name and state; a click makes a
    // camera the active one, a stop marks its tile, a close takes it away.
    void theGridShowsEveryGrabbingCamera()
    {
        const QMap<QString, QSize> sizes{{Wide, QSize(Width, Height)}, {Narrow, QSize(16, 8)}, {Square, QSize(24, 24)}};
        for (const QString& serial : sizes.keys())
            grab(serial, false);
        action("showGrid")->trigger();
        QList<QWidget*> tiles;
        QTRY_COMPARE_WITH_TIMEOUT((tiles = m_viewer.window->findChildren<QWidget*>("gridTile")).size(), 3, 10000);
        for (QWidget* tile : qAsConst(tiles)) {
            const QString title = tile->findChild<QLabel*>("gridTileTitle")->toolTip();
            const QString serial = title.mid(title.indexOf('(') + 1, 8);
            QVERIFY2(sizes.contains(serial), qPrintable(title));
            QWidget* view = tile->findChild<QWidget*>("gridTileView");
            QImage shown;
            QTRY_VERIFY_WITH_TIMEOUT(!(shown = view->property("image").value<QImage>()).isNull(), 10000);
            QCOMPARE(shown.size(), sizes[serial]);
            QVERIFY2(isPattern(shown), qPrintable(title));
            QVERIFY2(tile->property("state").toString() == "Grabbing", qPrintable(tile->property("state").toString()));
            sendMouse(tile, QEvent::MouseButtonPress, QPoint(5, 5), Qt::LeftButton);
            QCOMPARE(m_viewer.services.status->getActiveDevice(), Core::OptiRosterComponents::DeviceBaseInfoPtr(m_viewer.camera(serial)));
        }
        const CameraInfoPtr narrow = m_viewer.camera(Narrow);
        m_viewer.services.stream->stopGrabbing(narrow);
        QTRY_VERIFY_WITH_TIMEOUT(tiles.size() == 3 && [&] {
            for (QWidget* tile : m_viewer.window->findChildren<QWidget*>("gridTile")) {
                if (tile->findChild<QLabel*>("gridTileTitle")->toolTip().contains(Narrow))
                    return tile->property("state").toString() == "Stopped";
            }
            return false;
        }(), 10000);
        m_viewer.services.control->close(narrow);
        QTRY_COMPARE_WITH_TIMEOUT(m_viewer.window->findChildren<QWidget*>("gridTile").size(), 2, 10000);
    }
};

TAVIX_VIEWER_TEST_MAIN(TestViewerLooking)
#include "tst_viewerlooking.moc"
