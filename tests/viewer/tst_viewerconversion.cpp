#include <convertedimage.h>

#include <tavix/sim/testpattern.h>

#include <QtTest>

#include <vector>

using Viewer::CConvertedImage;

namespace {

Tavix::ImageShape shapeOf(uint32_t width, uint32_t height, Tavix::EPixelType pixelType, uint32_t paddingX = 0)
{
    Tavix::ImageShape shape;
    shape.width = width;
    shape.height = height;
    shape.pixelType = pixelType;
    shape.paddingX = paddingX;
    return shape;
}

// The mosaic a Bayer camera of that order sends of a picture that is one colour everywhere.
std::vector<uchar> uniformMosaic(Tavix::EPixelType pixelType, int width, int height, QColor colour)
{
    const QString order = QString::fromLatin1(Tavix::GetPixelTypeName(pixelType)).mid(5, 2); // "RG" of "BayerRG8"
    std::vector<uchar> bytes(size_t(width * height));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            // The tile's first row holds its two first letters, the second row the other two.
            const QString tile = order + (order == "RG" ? "GB" : order == "BG" ? "GR" : order == "GR" ? "BG" : "RG");
            const QChar channel = tile[(y % 2) * 2 + x % 2];
            bytes[size_t(y * width + x)] = uchar(channel == 'R' ? colour.red() : channel == 'G' ? colour.green() : colour.blue());
        }
    }
    return bytes;
}

// Little-endian samples of a wide monochrome format.
std::vector<uchar> wideSamples(const std::vector<quint16>& values)
{
    std::vector<uchar> bytes;
    for (quint16 value : values) {
        bytes.push_back(uchar(value & 0xFF));
        bytes.push_back(uchar(value >> 8));
    }
    return bytes;
}

} // namespace

// What the image panel makes of the pixels of each format it shows, read by the shape the image
// came with.
class TestViewerConversion : public QObject
{
    Q_OBJECT

private slots:
    void bayerMosaicsAreDemosaicedToTheirColours_data()
    {
        QTest::addColumn<int>("pixelType");
        QTest::addColumn<QColor>("colour");
        for (const auto type : {Tavix::PixelType_BayerRG8, Tavix::PixelType_BayerGR8, Tavix::PixelType_BayerGB8, Tavix::PixelType_BayerBG8}) {
            QTest::addRow("%s orange", Tavix::GetPixelTypeName(type)) << int(type) << QColor(230, 120, 20);
            QTest::addRow("%s teal", Tavix::GetPixelTypeName(type)) << int(type) << QColor(10, 140, 150);
        }
    }
    void bayerMosaicsAreDemosaicedToTheirColours()
    {
        QFETCH(int, pixelType);
        QFETCH(QColor, colour);
        const auto type = Tavix::EPixelType(pixelType);
        const std::vector<uchar> mosaic = uniformMosaic(type, 9, 7, colour);
        QString error;
        const CConvertedImage image = CConvertedImage::convert(mosaic.data(), mosaic.size(), shapeOf(9, 7, type), error);
        QVERIFY2(!image.isNull(), qPrintable(error));
        QVERIFY(!image.isMonochrome());
        for (int y = 0; y < 7; ++y) {
            for (int x = 0; x < 9; ++x)
                QCOMPARE(image.display().pixelColor(x, y), colour);
        }
        // The read-out gives the camera's own sample and the colour shown.
        const QString value = image.valueText(QPoint(0, 0));
        QVERIFY2(value.endsWith(QStringLiteral("(shown as %1, %2, %3)").arg(colour.red()).arg(colour.green()).arg(colour.blue())),
                 qPrintable(value));
    }

    // The simulated Bayer camera's picture comes out in its colours: the same as the colour
    // camera's, but for a step of the interpolation at the edges.
    void theSimulatedBayerPatternShowsItsColours()
    {
        const uint32_t width = 48;
        const uint32_t height = 20;
        const std::vector<uchar> mosaic = TavixSim::CTestPattern::frame(width, height, 1, Tavix::PixelType_BayerGB8, 3);
        QString error;
        const CConvertedImage image = CConvertedImage::convert(mosaic.data(), mosaic.size(), shapeOf(width, height, Tavix::PixelType_BayerGB8), error);
        QVERIFY2(!image.isNull(), qPrintable(error));
        for (uint32_t y = 0; y < height; ++y) {
            for (uint32_t x = 0; x < width; ++x) {
                const auto expected = TavixSim::CTestPattern::colourAt(x, y, 3);
                const QColor shown = image.display().pixelColor(int(x), int(y));
                QVERIFY2(qAbs(shown.red() - expected.red) <= 2 && qAbs(shown.green() - expected.green) <= 2
                             && qAbs(shown.blue() - expected.blue) <= 2,
                         qPrintable(QStringLiteral("%1, %2: shown %3, expected %4 %5 %6").arg(x).arg(y).arg(shown.name())
                                        .arg(expected.red).arg(expected.green).arg(expected.blue)));
            }
        }
    }

    void wideMonochromeIsScaledByItsOwnDepth_data()
    {
        QTest::addColumn<int>("pixelType");
        QTest::addColumn<quint16>("top");
        QTest::newRow("Mono10") << int(Tavix::PixelType_Mono10) << quint16(1023);
        QTest::newRow("Mono12") << int(Tavix::PixelType_Mono12) << quint16(4095);
        QTest::newRow("Mono14") << int(Tavix::PixelType_Mono14) << quint16(16383);
        QTest::newRow("Mono16") << int(Tavix::PixelType_Mono16) << quint16(65535);
        QTest::newRow("BayerRG12, a mosaic of grey") << int(Tavix::PixelType_BayerRG12) << quint16(4095);
    }
    void wideMonochromeIsScaledByItsOwnDepth()
    {
        QFETCH(int, pixelType);
        QFETCH(quint16, top);
        // White, half, black and a value beyond the depth's range, which stays white.
        const std::vector<quint16> row{top, quint16(top / 2 + 1), 0, quint16(qMin(65535, top * 2 + 1))};
        std::vector<quint16> values;
        for (int y = 0; y < 2; ++y)
            values.insert(values.end(), row.begin(), row.end());
        const std::vector<uchar> bytes = wideSamples(values);
        QString error;
        const CConvertedImage image = CConvertedImage::convert(bytes.data(), bytes.size(), shapeOf(4, 2, Tavix::EPixelType(pixelType)), error);
        QVERIFY2(!image.isNull(), qPrintable(error));
        if (Tavix::GetBayerOrder(Tavix::EPixelType(pixelType)) == Tavix::BayerOrder_None) {
            QCOMPARE(qGray(image.display().pixel(0, 0)), 255);
            QCOMPARE(qGray(image.display().pixel(1, 0)), 128);
            QCOMPARE(qGray(image.display().pixel(2, 0)), 0);
            QCOMPARE(qGray(image.display().pixel(3, 0)), 255);
            QCOMPARE(image.valueText(QPoint(1, 1)), QString::number(top / 2 + 1));
        } else {
            QVERIFY(!image.display().isNull());
        }
    }

    // Padding after each row is skipped: the rows come out straight.
    void rowsAreReadWithTheirPadding()
    {
        const std::vector<uchar> bytes{1, 2, 3, 0xEE, 0xEE, 4, 5, 6, 0xEE, 0xEE, 7, 8, 9};
        QString error;
        const CConvertedImage image = CConvertedImage::convert(bytes.data(), bytes.size(), shapeOf(3, 3, Tavix::PixelType_Mono8, 2), error);
        QVERIFY2(!image.isNull(), qPrintable(error));
        QCOMPARE(image.size(), QSize(3, 3));
        QCOMPARE(image.valueText(QPoint(0, 1)), QStringLiteral("4"));
        QCOMPARE(image.valueText(QPoint(2, 2)), QStringLiteral("9"));
    }

    void imagesThatCantBeShownSayWhy_data()
    {
        QTest::addColumn<int>("pixelType");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("size");
        QTest::addColumn<QString>("reason");
        QTest::newRow("a format without a converter") << int(Tavix::PixelType_YUV422_8) << 4 << 64 << "Images in YUV422_8 can't be shown";
        QTest::newRow("a format without a name") << 0x010C0047 << 4 << 64 << "pixel format 0x010c0047";
        QTest::newRow("fewer bytes than the shape needs") << int(Tavix::PixelType_Mono8) << 8 << 15 << "holds 15 bytes; 8 x 2 Mono8 needs 16";
    }
    void imagesThatCantBeShownSayWhy()
    {
        QFETCH(int, pixelType);
        QFETCH(int, width);
        QFETCH(int, size);
        QFETCH(QString, reason);
        const std::vector<uchar> bytes(size_t(size), 0);
        QString error;
        const CConvertedImage image = CConvertedImage::convert(bytes.data(), bytes.size(), shapeOf(uint32_t(width), 2, Tavix::EPixelType(pixelType)), error);
        QVERIFY(image.isNull());
        QVERIFY2(error.contains(reason), qPrintable(error));
    }
};

QTEST_MAIN(TestViewerConversion)
#include "tst_viewerconversion.moc"
