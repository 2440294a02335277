// Recordings of simulated cameras, read back frame by frame: each image equals what an observer of
// the roster saw, for every sequence format and for FFV1 video; the recorder's queue drops and
// counts instead of holding the grab up; the viewer's Record button records the active camera.
#include "viewerfixture.h"

#include <simscenario.h>
#include <videoframes.h>

#include <imagerecorder.h>
#include <imagesequencewriter.h>
#include <recordingwriter.h>

#include <QAction>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMutex>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTimer>

#include <sys/stat.h>

using Core::OptiRosterComponents::CameraInfoPtr;
using Recording::CImageRecorder;
using Recording::COrientation;
using Recording::ERecordingFormat;

Q_DECLARE_METATYPE(Recording::ERecordingFormat)

namespace {

const QString Mono = QStringLiteral("70000071");   // Mono8 of odd sides
const QString Deep = QStringLiteral("70000072");   // Mono12
const QString Colour = QStringLiteral("70000073"); // RGB8
const QString Mosaic = QStringLiteral("70000074"); // BayerRG8
const QString Live = QStringLiteral("70000075");   // Mono8, without end
constexpr int Images = 6;

QJsonObject camera(const QString& serial, const QString& pixelFormat, int width, int height, QJsonObject stream)
{
    const QJsonArray features{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", width}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", height}},
        QJsonObject{{"name", "PixelFormat"}, {"type", "enumeration"}, {"value", pixelFormat},
                    {"entries", QJsonArray{"Mono8", "Mono12", "RGB8", "BayerRG8"}}},
        QJsonObject{{"name", "ChunkModeActive"}, {"type", "boolean"}, {"value", false}},
    };
    return TestScenario::camera(serial, stream, features);
}

QString loadWorld()
{
    const QJsonObject limited{{"frameRate", 100}, {"frameLimit", Images}};
    return TestScenario::load({TestScenario::gigeLayer({
        camera(Mono, "Mono8", 41, 13, limited), camera(Deep, "Mono12", 32, 10, limited),
        camera(Colour, "RGB8", 24, 10, limited), camera(Mosaic, "BayerRG8", 30, 12, limited),
        camera(Live, "Mono8", 40, 12, {{"frameRate", 50}}),
    })});
}

// Whether two pictures hold the same values, whatever QImage format each came in; the first
// difference otherwise.
QString difference(QImage seen, QImage read)
{
    if (read.format() != seen.format())
        read = read.convertToFormat(seen.format());
    if (read.size() != seen.size())
        return QStringLiteral("%1 x %2 read, %3 x %4 seen").arg(read.width()).arg(read.height()).arg(seen.width()).arg(seen.height());
    const int rowBytes = seen.width() * seen.depth() / 8;
    for (int y = 0; y < seen.height(); ++y) {
        if (std::memcmp(seen.constScanLine(y), read.constScanLine(y), size_t(rowBytes)) != 0)
            return QStringLiteral("row %1 differs").arg(y);
    }
    return {};
}

// Sees the images of one camera, keeps a copy of each, and hands it to a recorder, as the
// viewer's and the host's observers do.
class CWitness : public Plugin::OptiRoster::IImageGrabbedObserver
{
public:
    explicit CWitness(const CameraInfoPtr& camera) : m_pCamera(camera.data()) {}

    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& result) override
    {
        if (info.data() != m_pCamera || !result || !result->GrabSucceeded())
            return;
        const Tavix::ImageShape& shape = result->GetImageShape();
        QImage copy(int(shape.width), int(shape.height), Recording::CImageSequenceWriter::imageFormatOf(shape.pixelType));
        const auto* pixels = static_cast<const uchar*>(result->GetBuffer());
        for (uint32_t y = 0; y < shape.height; ++y)
            std::memcpy(copy.scanLine(int(y)), pixels + y * shape.rowStride(), shape.rowBytes());
        QMutexLocker locker(&m_mutex);
        m_seen << copy;
        m_numbers << result->GetImageNumber();
        if (m_keep)
            m_results << result;
        if (m_pRecorder)
            m_pRecorder->offer(result);
    }

    void recordInto(CImageRecorder* recorder) { m_pRecorder = recorder; }
    void keepHandles() { m_keep = true; }
    int count()
    {
        QMutexLocker locker(&m_mutex);
        return m_seen.size();
    }
    QList<QImage> m_seen;
    QList<qint64> m_numbers;
    QList<Tavix::CGrabResultPtr> m_results;

private:
    const Core::OptiRosterComponents::ICameraInfo* m_pCamera;
    CImageRecorder* m_pRecorder = nullptr;
    bool m_keep = false;
    QMutex m_mutex;
};

} // namespace

class TestViewerRecording : public QObject
{
    Q_OBJECT

private:
    CViewerFixture m_viewer;

    // Grabs the camera's images into the witness until it has seen them all.
    void grabAll(const QString& serial, CWitness& witness)
    {
        const CameraInfoPtr info = m_viewer.camera(serial);
        QVERIFY(info);
        QVERIFY2(m_viewer.services.control->open(info, false), qPrintable(info->getLastError()));
        m_viewer.services.notifier->addObserver(&witness);
        m_viewer.services.stream->startGrabbing(info);
        QTRY_COMPARE_WITH_TIMEOUT(witness.count(), Images, 20000);
        m_viewer.services.stream->stopGrabbing(info);
        m_viewer.services.notifier->removeObserver(&witness);
    }

private slots:
    void init()
    {
        TavixSim::reset();
        QCOMPARE(loadWorld(), QString());
        QVERIFY(m_viewer.start({QStringLiteral("*ViewerImage*")}));
    }
    void cleanup() { m_viewer.stop(); }

    void aRecordingReadsBackAsTheObserverSawIt_data()
    {
        QTest::addColumn<QString>("serial");
        QTest::addColumn<ERecordingFormat>("format");
        QTest::addColumn<int>("quarterTurns");
        QTest::addColumn<bool>("mirrored");
        QTest::newRow("PNG, Mono8") << Mono << ERecordingFormat::Png << 0 << false;
        QTest::newRow("PNG, Mono12 in 16 bits") << Deep << ERecordingFormat::Png << 0 << false;
        QTest::newRow("PNG, Mono8 upside down") << Mono << ERecordingFormat::Png << 2 << false;
        QTest::newRow("TIFF, Mono12 in 16 bits") << Deep << ERecordingFormat::Tiff << 0 << false;
        QTest::newRow("TIFF, RGB8") << Colour << ERecordingFormat::Tiff << 0 << false;
        QTest::newRow("raw, BayerRG8") << Mosaic << ERecordingFormat::Raw << 0 << false;
        QTest::newRow("raw, Mono12 turned right and mirrored") << Deep << ERecordingFormat::Raw << 1 << true;
        QTest::newRow("FFV1, Mono8") << Mono << ERecordingFormat::Ffv1 << 0 << false;
        QTest::newRow("FFV1, Mono12") << Deep << ERecordingFormat::Ffv1 << 0 << false;
        QTest::newRow("FFV1, RGB8") << Colour << ERecordingFormat::Ffv1 << 0 << false;
        QTest::newRow("FFV1, BayerRG8 turned left") << Mosaic << ERecordingFormat::Ffv1 << 3 << false;
    }
    // Every image the observer saw is in the recording, in order, value for value, turned as asked.
    void aRecordingReadsBackAsTheObserverSawIt()
    {
        QFETCH(QString, serial);
        QFETCH(ERecordingFormat, format);
        QFETCH(int, quarterTurns);
        QFETCH(bool, mirrored);
        const COrientation orientation{quarterTurns, mirrored};
        QTemporaryDir folder;
        CImageRecorder::Options options;
        options.format = format;
        options.target = folder.filePath(Recording::isVideo(format) ? "video." + Recording::fileExtension(format) : "images");
        options.baseName = serial;
        options.orientation = orientation;
        options.queueCapacity = Images;
        CImageRecorder recorder(options);
        QString error;
        QVERIFY2(recorder.start(error), qPrintable(error));
        CWitness witness(m_viewer.camera(serial));
        witness.recordInto(&recorder);
        grabAll(serial, witness);
        recorder.requestStop();
        recorder.waitForFinished();
        QVERIFY2(recorder.error().isEmpty(), qPrintable(recorder.error()));
        QCOMPARE(recorder.figures().written, quint64(Images));
        QCOMPARE(recorder.figures().dropped, 0ull);

        QList<QImage> read;
        if (format == ERecordingFormat::Ffv1) {
            read = VideoFrames::read(options.target, error);
            QVERIFY2(error.isEmpty(), qPrintable(error));
        } else {
            const QString extension = Recording::fileExtension(format);
            const QStringList files = QDir(options.target).entryList({"*." + extension}, QDir::Files, QDir::Name);
            for (int i = 0; i < files.size(); ++i) {
                const QString file = QDir(options.target).filePath(files[i]);
                QCOMPARE(files[i], Recording::CImageSequenceWriter::fileName(serial, witness.m_numbers[i], extension));
                if (format != ERecordingFormat::Raw) {
                    read << QImage(file);
                    continue;
                }
                QFile json(file.left(file.size() - 3) + "json");
                QVERIFY(json.open(QIODevice::ReadOnly));
                const QJsonObject description = QJsonDocument::fromJson(json.readAll()).object();
                const QSize size = orientation.orientedSize(witness.m_seen[i].size());
                QCOMPARE(description.value("width").toInt(), size.width());
                QCOMPARE(description.value("height").toInt(), size.height());
                QCOMPARE(description.value("imageNumber").toInt(), int(witness.m_numbers[i]));
                QCOMPARE(description.value("rotationDegrees").toInt(), quarterTurns * 90);
                QFile raw(file);
                QVERIFY(raw.open(QIODevice::ReadOnly));
                const QByteArray bytes = raw.readAll();
                const QImage::Format imageFormat = witness.m_seen[i].format();
                QImage picture(size, imageFormat);
                const int rowBytes = size.width() * picture.depth() / 8;
                QCOMPARE(bytes.size(), rowBytes * size.height());
                for (int y = 0; y < size.height(); ++y)
                    std::memcpy(picture.scanLine(y), bytes.constData() + y * rowBytes, size_t(rowBytes));
                read << picture;
            }
        }
        QCOMPARE(read.size(), Images);
        for (int i = 0; i < Images; ++i) {
            const QString different = difference(orientation.apply(witness.m_seen[i]), read[i]);
            QVERIFY2(different.isEmpty(), qPrintable(QStringLiteral("image %1: %2").arg(i).arg(different)));
        }
    }

    // H.264 is for a player: colour at even sides, close to the images but not equal to them.
    void anH264VideoIsCroppedToEvenSidesAndCloseToTheImages()
    {
        QTemporaryDir folder;
        CImageRecorder::Options options;
        options.format = ERecordingFormat::H264;
        options.target = folder.filePath("video.mp4");
        options.nominalRate = 25;
        CImageRecorder recorder(options);
        QString error;
        QVERIFY2(recorder.start(error), qPrintable(error));
        CWitness witness(m_viewer.camera(Mono));
        witness.recordInto(&recorder);
        grabAll(Mono, witness);
        recorder.requestStop();
        recorder.waitForFinished();
        QVERIFY2(recorder.error().isEmpty(), qPrintable(recorder.error()));
        const QList<QImage> frames = VideoFrames::read(options.target, error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QCOMPARE(frames.size(), Images);
        for (int i = 0; i < Images; ++i) {
            QCOMPARE(frames[i].size(), QSize(40, 12));
            const QImage seen = witness.m_seen[i].copy(0, 0, 40, 12);
            double sum = 0;
            for (int y = 0; y < 12; ++y) {
                for (int x = 0; x < 40; ++x)
                    sum += std::abs(int(seen.constScanLine(y)[x]) - int(frames[i].constScanLine(y)[x]));
            }
            QVERIFY2(sum / (40 * 12) < 8.0, qPrintable(QStringLiteral("frame %1 differs by %2 on average").arg(i).arg(sum / 480)));
        }
    }

    // A full queue drops the image, counts it, and never waits: the images that found room are
    // written whole.
    void aFullQueueDropsAndCountsTheImages()
    {
        CWitness witness(m_viewer.camera(Mono));
        witness.keepHandles();
        grabAll(Mono, witness);
        QTemporaryDir folder;
        CImageRecorder::Options options;
        options.format = ERecordingFormat::Raw;
        options.target = folder.path();
        options.queueCapacity = 2;
        CImageRecorder recorder(options);
        // Offered before the recorder's thread runs: two find room, the rest the queue full.
        for (const auto& result : qAsConst(witness.m_results))
            recorder.offer(result);
        witness.m_results.clear();
        QString error;
        QVERIFY2(recorder.start(error), qPrintable(error));
        recorder.requestStop();
        recorder.waitForFinished();
        const CImageRecorder::Figures figures = recorder.figures();
        QCOMPARE(figures.offered, quint64(Images));
        QCOMPARE(figures.written, 2ull);
        QCOMPARE(figures.dropped, quint64(Images - 2));
        QCOMPARE(QDir(folder.path()).entryList({"*.raw"}, QDir::Files).size(), 2);
    }

    void whatCantBeRecordedIsRefusedWithItsReason_data()
    {
        QTest::addColumn<ERecordingFormat>("format");
        QTest::addColumn<QString>("target");
        QTest::addColumn<int>("pixelType");
        QTest::addColumn<QString>("reason");
        const int mono = Tavix::PixelType_Mono8;
        QTest::newRow("a folder that can't be made") << ERecordingFormat::Png << "/proc/self/images" << mono << "can't be created";
        QTest::newRow("a video onto a folder") << ERecordingFormat::Ffv1 << QDir::tempPath() << mono << "is a folder";
        QTest::newRow("PNG of YUV") << ERecordingFormat::Png << QString() << int(Tavix::PixelType_YUV422_8) << "record them as raw";
        QTest::newRow("a video of YUV") << ERecordingFormat::Ffv1 << QString() << int(Tavix::PixelType_YUV422_8) << "record them as raw";
        QTest::newRow("raw of anything known") << ERecordingFormat::Raw << QString() << int(Tavix::PixelType_YUV422_8) << QString();
    }
    void whatCantBeRecordedIsRefusedWithItsReason()
    {
        QFETCH(ERecordingFormat, format);
        QFETCH(QString, target);
        QFETCH(int, pixelType);
        QFETCH(QString, reason);
        QString error = target.isEmpty() ? Recording::ARecordingWriter::checkPixelType(format, Tavix::EPixelType(pixelType))
                                         : Recording::ARecordingWriter::prepareTarget(format, target);
        if (reason.isEmpty())
            QCOMPARE(error, QString());
        else
            QVERIFY2(error.contains(reason), qPrintable(error));
    }

    // Each of the eight placements turns every pixel where Qt's own transformations put it, and
    // back; a turned mosaic names the colour it now starts with.
    void anOrientationTurnsEveryPixelAndTheMosaic()
    {
        QImage sites(5, 4, QImage::Format_Grayscale8);
        for (int y = 0; y < sites.height(); ++y) {
            for (int x = 0; x < sites.width(); ++x)
                sites.scanLine(y)[x] = uchar(y * 10 + x);
        }
        for (int turns = 0; turns < 4; ++turns) {
            for (bool mirrored : {false, true}) {
                const COrientation orientation{turns, mirrored};
                const QImage expected = (mirrored ? sites.mirrored(true, false) : sites).transformed(QTransform().rotate(90 * turns));
                const QImage turned = orientation.apply(sites);
                QVERIFY2(difference(expected, turned).isEmpty(), qPrintable(orientation.text()));
                for (int y = 0; y < sites.height(); ++y) {
                    for (int x = 0; x < sites.width(); ++x) {
                        const QPoint p = orientation.map({x, y}, sites.size());
                        QCOMPARE(orientation.sourceOf(p, sites.size()), QPoint(x, y));
                        QCOMPARE(turned.constScanLine(p.y())[p.x()], sites.constScanLine(y)[x]);
                    }
                }
                // The turned mosaic's first site is the source's site that lands there.
                const QPoint first = orientation.sourceOf({0, 0}, sites.size());
                const QPoint second = orientation.sourceOf({1, 0}, sites.size());
                static const char* rg[2][2] = {{"R", "G"}, {"G", "B"}};
                const QString expectedStart = QString::fromLatin1(rg[first.y() % 2][first.x() % 2]) + rg[second.y() % 2][second.x() % 2];
                const char* name = Tavix::GetPixelTypeName(orientation.orientedPixelType(Tavix::PixelType_BayerRG8, sites.size()));
                QCOMPARE(QString::fromLatin1(name), "Bayer" + expectedStart + "8");
            }
        }
    }

    // The Record button asks how, records the active camera, and says what it wrote.
    void theRecordButtonRecordsTheActiveCamera()
    {
        const CameraInfoPtr info = m_viewer.camera(Live);
        QVERIFY(m_viewer.services.control->open(info, false));
        m_viewer.services.status->setActiveDevice(info);
        m_viewer.services.stream->startGrabbing(info);
        QTemporaryDir folder;
        const QString target = folder.filePath("recorded");
        QTimer::singleShot(0, [target] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            QVERIFY(dialog);
            auto* format = dialog->findChild<QComboBox*>("recordFormat");
            format->setCurrentIndex(format->findData("raw"));
            dialog->findChild<QLineEdit*>("recordTarget")->setText(target);
            auto* limit = dialog->findChild<QComboBox*>("recordLimit");
            limit->setCurrentIndex(1); // images
            dialog->findChild<QSpinBox*>("recordLimitValue")->setValue(5);
            dialog->accept();
        });
        QAction* record = m_viewer.find<QAction>("record");
        QVERIFY(record->isEnabled());
        record->trigger();
        auto* status = m_viewer.find<QLabel>("recordingStatus");
        QTRY_VERIFY_WITH_TIMEOUT(status->text().startsWith("Recorded 5 images"), 20000);
        QVERIFY2(status->text().contains(QDir::toNativeSeparators(target)), qPrintable(status->text()));
        QVERIFY(!record->isChecked());
        QCOMPARE(QDir(target).entryList({"*.raw"}, QDir::Files).size(), 5);
        QCOMPARE(QDir(target).entryList({"*.json"}, QDir::Files).size(), 5);
        m_viewer.services.stream->stopGrabbing(info);
    }

    // A recording that can't keep up drops images rather than hold the grab up, shows the count
    // while it runs and says so in its summary; Stop still finishes the video. The video goes into
    // a pipe that no one reads yet: the recorder's thread waits there, and its queue fills.
    void aRecordingThatDropsSaysSoAndStillFinishes()
    {
        const CameraInfoPtr info = m_viewer.camera(Live);
        QVERIFY(m_viewer.services.control->open(info, false));
        m_viewer.services.status->setActiveDevice(info);
        m_viewer.services.stream->startGrabbing(info);
        QTemporaryDir folder;
        const QString pipe = folder.filePath("unread.mkv");
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QTimer::singleShot(0, [pipe] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            QVERIFY(dialog);
            auto* format = dialog->findChild<QComboBox*>("recordFormat");
            format->setCurrentIndex(format->findData("ffv1"));
            dialog->findChild<QLineEdit*>("recordTarget")->setText(pipe);
            dialog->findChild<QComboBox*>("recordLimit")->setCurrentIndex(0); // until stopped
            dialog->accept();
        });
        QAction* record = m_viewer.find<QAction>("record");
        record->trigger();
        auto* status = m_viewer.find<QLabel>("recordingStatus");
        const QRegularExpression someDropped(QStringLiteral(" [1-9]\\d* dropped"));
        QTRY_VERIFY_WITH_TIMEOUT(status->text().contains(someDropped), 20000);
        QVERIFY(record->isChecked());
        record->trigger(); // Stop

        // Reading the pipe lets the recorder write what its queue holds and finish the video. Its
        // thread waits in opening the pipe since the first image: reading meets it.
        QString error;
        const QList<QImage> frames = VideoFrames::read(pipe, error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QTRY_VERIFY_WITH_TIMEOUT(status->text().startsWith("Recorded "), 20000);
        const QRegularExpressionMatch summary =
            QRegularExpression(QStringLiteral("^Recorded (\\d+) images? .*; (\\d+) images were dropped")).match(status->text());
        QVERIFY2(summary.hasMatch(), qPrintable(status->text()));
        QVERIFY(!record->isChecked());
        m_viewer.services.stream->stopGrabbing(info);

        QCOMPARE(frames.size(), summary.captured(1).toInt());
        QCOMPARE(frames.first().size(), QSize(40, 12));
    }
};

TAVIX_VIEWER_TEST_MAIN(TestViewerRecording)
#include "tst_viewerrecording.moc"
