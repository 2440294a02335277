#include "camerafixture.h"
#include "deadlockwatchdog.h"
#include "exceptiontext.h"
#include "logrecorder.h"
#include "testmain.h"

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/camera.h>
#include <plugins/optiroster/internal/imagedecompressorservice.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/optiroster.h>

#include <tavix/imagedecompressor.h>
#include <tavix/sim/testpattern.h>

#include <atomic>
#include <mutex>
#include <thread>

using namespace Plugin::OptiRoster;
using Internal::CImageDecompressorService;
using Internal::COptiRoster;
using Internal::ImageGrabbedNotifierService;

namespace {

const QString Category = QStringLiteral("tavix.viewer.plugins.optiRoster.imageDecompressorService");
constexpr int Width = 256;
constexpr int Height = 16;

QJsonArray features(const QString& compressionMode)
{
    QJsonArray list{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", Width}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", Height}},
    };
    if (!compressionMode.isEmpty()) {
        list.append(QJsonObject{{"name", "ImageCompressionMode"}, {"type", "enumeration"}, {"value", compressionMode},
                                {"entries", QJsonArray{QJsonObject{{"name", "Off"}, {"value", 0}},
                                                       QJsonObject{{"name", "Lossless"}, {"value", 1}},
                                                       QJsonObject{{"name", "Lossy"}, {"value", 2}},
                                                       QJsonObject{{"name", "Weird"}, {"value", 7}}}}});
    }
    return list;
}

QJsonObject compressingCamera(const QString& serial, const QString& mode)
{
    QJsonObject camera = TestScenario::camera(serial, QJsonObject{{"frameRate", 100}}, features(mode));
    camera.insert("compression", QJsonObject{});
    return camera;
}

// The moving test pattern as the simulated camera sends the image of that number: a ramp along
// each line that moves on by one byte per line and per frame.
QByteArray expectedPattern(int64_t imageNumber, unsigned char mask, int width = Width)
{
    const std::vector<unsigned char> frame =
        TavixSim::CTestPattern::frame(uint32_t(width), uint32_t(Height), 1, Tavix::PixelType_Mono8, uint64_t(imageNumber));
    QByteArray image(reinterpret_cast<const char*>(frame.data()), int(frame.size()));
    for (char& byte : image)
        byte = char(static_cast<unsigned char>(byte) & mask);
    return image;
}

class CHoldingObserver : public IImageGrabbedObserver
{
public:
    void onImageGrabbed(const CameraInfoPtr&, const Tavix::CGrabResultPtr& result) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_results.size() < 5) // the camera keeps enough buffers for the ones held here
            m_results.push_back(result);
    }
    std::vector<Tavix::CGrabResultPtr> results()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_results;
    }
    int count() { return int(results().size()); }

private:
    std::mutex m_mutex;
    std::vector<Tavix::CGrabResultPtr> m_results;
};

QByteArray decompressed(const Tavix::CImageDecompressor& decompressor, const Tavix::CGrabResultPtr& result)
{
    QByteArray image(int(decompressor.GetImageSizeForDecompression()), Qt::Uninitialized);
    const size_t size = decompressor.DecompressImage(image.data(), size_t(image.size()), result);
    image.resize(int(size));
    return image;
}

// Decompresses each image on the grab thread with the decompressor the service has for it at
// that moment, as a client that shows compressed images does.
class CDecompressingObserver : public IImageGrabbedObserver
{
public:
    explicit CDecompressingObserver(IImageDecompressorService& service) : m_service(service) {}

    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& result) override
    {
        const auto decompressor = m_service.getImageDecompressor(info);
        if (!decompressor)
            ++missing;
        else if (decompressed(*decompressor, result) != expectedPattern(result->GetImageNumber(), 0xFF, width.load()))
            ++wrong;
        else
            ++good;
    }

    std::atomic<int> width{Width};
    std::atomic<int> missing{0};
    std::atomic<int> wrong{0};
    std::atomic<int> good{0};

private:
    IImageDecompressorService& m_service;
};

} // namespace

class TestImageDecompression : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void compressedImagesDecompressToTheSentPattern_data();
    void compressedImagesDecompressToTheSentPattern();
    void switchingCompressionOffDropsTheDecompressorAtTheNextGrabStart();
    void damagedOrForeignImagesAreRefused();
    void withoutCompressionOrAfterAFailedReadThereIsNoEntryAndTheGrabStarts_data();
    void withoutCompressionOrAfterAFailedReadThereIsNoEntryAndTheGrabStarts();
    void aCloseOnAnotherThreadWaitsForACompressionRead();
    void aGrabOnAClientThreadIsPreparedBeforeItsFirstImage();

private:
    CameraInfoPtr openCamera(const QString& serial);
    // At least count images of one grab, held; empty if they don't come.
    std::vector<Tavix::CGrabResultPtr> grabImages(const CameraInfoPtr& info, int count);
    void setCompressionMode(const CameraInfoPtr& info, const QString& mode);

    QSharedPointer<ImageGrabbedNotifierService> m_notifier;
    std::unique_ptr<COptiRoster> m_pRoster;
    std::unique_ptr<CImageDecompressorService> m_pService;
};

void TestImageDecompression::init()
{
    TavixSim::reset();
    const QJsonArray cameras{
        compressingCamera(QStringLiteral("601"), QStringLiteral("Lossless")),
        TestScenario::camera(QStringLiteral("602"), QJsonObject{{"frameRate", 100}}, features(QString())),
        compressingCamera(QStringLiteral("603"), QStringLiteral("Weird")),
        [] {
            QJsonObject camera = compressingCamera(QStringLiteral("604"), QStringLiteral("Lossless"));
            QJsonArray list = camera.value("features").toArray();
            list.append(QJsonObject{{"name", "ImageCompressionDescriptor"}, {"type", "string"}, {"value", ""}, {"access", "RO"}});
            camera.insert("features", list);
            return camera;
        }(),
    };
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer(cameras)}), QString());
    m_notifier.reset(new ImageGrabbedNotifierService(nullptr));
    m_pRoster = std::make_unique<COptiRoster>(m_notifier, nullptr);
    m_pService = std::make_unique<CImageDecompressorService>(m_pRoster.get(), nullptr);
}

void TestImageDecompression::cleanup()
{
    m_pService.reset();
    m_pRoster.reset();
    m_notifier.reset();
}

CameraInfoPtr TestImageDecompression::openCamera(const QString& serial)
{
    const CameraInfoPtr info = cameraInfo(serial);
    m_pRoster->addDevice(info);
    if (!m_pRoster->openDevice(info, false))
        return {};
    return info;
}

std::vector<Tavix::CGrabResultPtr> TestImageDecompression::grabImages(const CameraInfoPtr& info, int count)
{
    CHoldingObserver observer;
    m_notifier->addObserver(&observer);
    m_pRoster->startGrabbing(info);
    const bool arrived = QTest::qWaitFor([&] { return observer.count() >= count; }, 10000);
    m_pRoster->stopGrabbing(info);
    m_notifier->removeObserver(&observer);
    return arrived ? observer.results() : std::vector<Tavix::CGrabResultPtr>();
}

void TestImageDecompression::setCompressionMode(const CameraInfoPtr& info, const QString& mode)
{
    const auto camera = m_pRoster->getDevice(info);
    QVERIFY(camera);
    const auto parameter = camera->getParameterCollection()->getEnumParameter(QStringLiteral("ImageCompressionMode"));
    QVERIFY(parameter);
    parameter->setValue(mode);
}

void TestImageDecompression::compressedImagesDecompressToTheSentPattern_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("mask");
    QTest::newRow("lossless") << "Lossless" << 0xFF;
    QTest::newRow("lossy") << "Lossy" << 0xFC; // the lossy mode drops the two lowest bits
}

void TestImageDecompression::compressedImagesDecompressToTheSentPattern()
{
    QFETCH(QString, mode);
    QFETCH(int, mask);
    const CameraInfoPtr info = openCamera(QStringLiteral("601"));
    setCompressionMode(info, mode);
    const auto results = grabImages(info, 3);
    QVERIFY(int(results.size()) >= 3);
    const auto decompressor = m_pService->getImageDecompressor(info);
    QVERIFY(decompressor);
    for (const auto& result : results) { // the pattern moves on with each image
        Tavix::CompressionInfo_t compression;
        QVERIFY(Tavix::CImageDecompressor::GetCompressionInfo(compression, result));
        QVERIFY(compression.hasCompressedImage);
        QCOMPARE(compression.lossy, mode == QLatin1String("Lossy"));
        QCOMPARE(compression.decompressedPayloadSize, size_t(Width * Height));
        QVERIFY(result->GetPayloadSize() < compression.decompressedPayloadSize / 4); // the pattern truly shrinks
        QCOMPARE(decompressed(*decompressor, result), expectedPattern(result->GetImageNumber(), uchar(mask)));
    }
    // A client's decompressor outlives the close; the service has none for the closed camera.
    m_pRoster->closeDevice(DeviceBaseInfoPtr(info));
    QVERIFY(!m_pService->getImageDecompressor(info));
    QCOMPARE(decompressed(*decompressor, results[0]), expectedPattern(results[0]->GetImageNumber(), uchar(mask)));
}

void TestImageDecompression::switchingCompressionOffDropsTheDecompressorAtTheNextGrabStart()
{
    const CameraInfoPtr info = openCamera(QStringLiteral("601"));
    QVERIFY(int(grabImages(info, 1).size()) >= 1);
    QVERIFY(m_pService->getImageDecompressor(info)); // a stop leaves it for images in flight

    setCompressionMode(info, QStringLiteral("Off"));
    QVERIFY(m_pService->getImageDecompressor(info)); // the setting counts from the next start
    const auto results = grabImages(info, 1);
    QVERIFY(int(results.size()) >= 1);
    QVERIFY(!m_pService->getImageDecompressor(info));
    Tavix::CompressionInfo_t compression;
    QVERIFY(!Tavix::CImageDecompressor::GetCompressionInfo(compression, results[0]));
    QCOMPARE(QByteArray(static_cast<const char*>(results[0]->GetBuffer()), int(results[0]->GetPayloadSize())),
             expectedPattern(results[0]->GetImageNumber(), 0xFF));
}

void TestImageDecompression::damagedOrForeignImagesAreRefused()
{
    const CameraInfoPtr info = openCamera(QStringLiteral("601"));
    const auto results = grabImages(info, 2);
    QVERIFY(int(results.size()) >= 2);
    const auto decompressor = m_pService->getImageDecompressor(info);
    QVERIFY(decompressor);
    QByteArray output(int(decompressor->GetImageSizeForDecompression()), Qt::Uninitialized);
    const auto refusal = [&](const void* data, size_t size) -> QString {
        try {
            decompressor->DecompressImage(output.data(), size_t(output.size()), data, size);
        } catch (const GenICam::RuntimeException& e) {
            return QString::fromUtf8(e.GetDescription());
        } catch (const GenICam::InvalidArgumentException& e) {
            return QStringLiteral("mismatch: ") + QString::fromUtf8(e.GetDescription());
        }
        return QStringLiteral("accepted");
    };

    QByteArray image(static_cast<const char*>(results[0]->GetBuffer()), int(results[0]->GetPayloadSize()));
    QCOMPARE(refusal(image.constData(), size_t(image.size())), QStringLiteral("accepted"));
    QVERIFY(refusal(image.constData(), size_t(image.size() - 8)).startsWith(QStringLiteral("The compressed image is damaged")));
    QByteArray flipped = image;
    flipped[flipped.size() / 2] = char(flipped[flipped.size() / 2] ^ 0x5A);
    QVERIFY(refusal(flipped.constData(), size_t(flipped.size())).startsWith(QStringLiteral("The compressed image is damaged")));

    // A damaged grab buffer is refused the same way through the result.
    auto* buffer = static_cast<unsigned char*>(results[1]->GetBuffer());
    buffer[results[1]->GetPayloadSize() - 1] ^= 0xFF;
    QVERIFY_EXCEPTION_THROWN(decompressed(*decompressor, results[1]), GenICam::RuntimeException);

    // A descriptor of other settings doesn't fit the image.
    m_pRoster->getDevice(info)->getParameterCollection()->getIntegerParameter(QStringLiteral("Width"))->setValue(Width / 2);
    const QVector<unsigned char> other = m_pService->getCompressionDescriptor(info);
    const Tavix::CImageDecompressor foreign(other.constData(), size_t(other.size()));
    QVERIFY_EXCEPTION_THROWN(foreign.DecompressImage(output.data(), size_t(output.size()), image.constData(), size_t(image.size())),
                             GenICam::InvalidArgumentException);
    QVERIFY_EXCEPTION_THROWN(Tavix::CImageDecompressor("junk", 4), GenICam::InvalidArgumentException);
}

void TestImageDecompression::withoutCompressionOrAfterAFailedReadThereIsNoEntryAndTheGrabStarts_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<QString>("failingFeature");
    QTest::addColumn<QString>("reason"); // empty: nothing fails, nothing is said
    QTest::addColumn<QString>("type");
    QTest::newRow("no compression") << "602" << QString() << QString() << QString();
    QTest::newRow("unknown mode") << "603" << QString() << "Unknown compression mode found." << QString();
    QTest::newRow("empty descriptor") << "604" << QString() << "Invalid compression descriptor size found." << QString();
    QTest::newRow("SDK failure") << "601" << "ImageCompressionDescriptor" << "Descriptor register unreadable." << "RuntimeException";
    QTest::newRow("failure below the SDK") << "601" << "ImageCompressionDescriptor" << "Descriptor register unreadable."
                                           << "std::runtime_error";
}

void TestImageDecompression::withoutCompressionOrAfterAFailedReadThereIsNoEntryAndTheGrabStarts()
{
    QFETCH(QString, serial);
    QFETCH(QString, failingFeature);
    QFETCH(QString, reason);
    QFETCH(QString, type);
    const CameraInfoPtr info = openCamera(serial);
    QVERIFY(info);
    if (!failingFeature.isEmpty())
        TavixSim::injectFault({info->getFullName().toStdString(), "Read:" + failingFeature.toStdString(), type.toStdString(),
                               reason.toStdString(), -1});
    CLogRecorder log;
    QSignalSpy started(m_pRoster.get(), &COptiRoster::cameraGrabStarted);
    QVERIFY(int(grabImages(info, 1).size()) >= 1);
    QCOMPARE(started.count(), 1);
    QVERIFY(!m_pService->getImageDecompressor(info));
    QCOMPARE(info->getLastError(), reason);
    QCOMPARE(log.messages(Category),
             reason.isEmpty() ? QStringList() : QStringList{QStringLiteral("Error while getting compression status from camera. Reason: ") + reason});
    // A client asking for the descriptor hears of the failure as the host's exception.
    if (!failingFeature.isEmpty())
        QCOMPARE(messageOf<Core::Exception::RuntimeException>([&] { m_pService->getCompressionDescriptor(info); }), reason);
    if (!reason.isEmpty())
        return;
    // Nor has an empty description; its descriptor is refused, without a word in any log.
    log.clear();
    QVERIFY(!m_pService->getImageDecompressor({}));
    QVERIFY_EXCEPTION_THROWN(m_pService->getCompressionDescriptor({}), Core::Exception::InvalidArgumentException);
    QVERIFY(log.entries().isEmpty());
}

void TestImageDecompression::aCloseOnAnotherThreadWaitsForACompressionRead()
{
    // The decompressor service reads the node map on the main thread while a client may close
    // the camera on its own: the close must not destroy the node map under the read.
    const CameraInfoPtr info = openCamera(QStringLiteral("601"));
    QVERIFY(info);
    TavixSim::pauseOperation("Read:ImageCompressionMode");
    int mode = -1;
    std::thread reader([&] { mode = m_pRoster->getCompressionMode(info); });
    QVERIFY(TavixSim::waitUntilPaused("Read:ImageCompressionMode"));
    std::atomic<bool> closed{false};
    std::thread closer([&] {
        m_pRoster->closeDevice(DeviceBaseInfoPtr(info));
        closed.store(true);
    });
    QTest::qWait(50); // time for a close that doesn't wait to destroy the device
    const bool closedDuringTheRead = closed.load();
    TavixSim::resumeOperation("Read:ImageCompressionMode");
    reader.join();
    closer.join();
    QVERIFY(!closedDuringTheRead);
    QCOMPARE(mode, 1); // Lossless, read whole from the open camera
    QVERIFY(!m_pRoster->isDeviceOpen(info));
}

void TestImageDecompression::aGrabOnAClientThreadIsPreparedBeforeItsFirstImage()
{
    // A client's thread starts and stops the grabs while the main thread doesn't turn (a busy
    // window), and an observer fetches the decompressor for every image; the second grab comes
    // after a change of Width, which needs a decompressor of its own.
    const CameraInfoPtr info = openCamera(QStringLiteral("601"));
    QVERIFY(info);
    CDecompressingObserver observer(*m_pService);
    m_notifier->addObserver(&observer);
    const auto width = m_pRoster->getDevice(info)->getParameterCollection()->getIntegerParameter(QStringLiteral("Width"));
    QVERIFY(width);
    for (int grabWidth : {Width, Width / 2}) {
        width->setValue(grabWidth);
        observer.width.store(grabWidth);
        const int before = observer.good + observer.missing + observer.wrong;
        {
            CDeadlockWatchdog watchdog("a grab started and stopped on a client's thread", std::chrono::seconds(60));
            std::thread client([&] {
                m_pRoster->startGrabbing(info);
                QElapsedTimer clock;
                clock.start();
                while (observer.good + observer.missing + observer.wrong < before + 5 && clock.elapsed() < 20000)
                    std::this_thread::yield();
                m_pRoster->stopGrabbing(info);
            });
            client.join();
        }
        QVERIFY(observer.good + observer.missing + observer.wrong >= before + 5);
        QCOMPARE(observer.missing.load(), 0);
        QCOMPARE(observer.wrong.load(), 0);
    }
    m_notifier->removeObserver(&observer);
}

TAVIX_TEST_MAIN(TestImageDecompression)
#include "tst_decompressor.moc"
