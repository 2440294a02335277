#include "logrecorder.h"
#include "testdevices.h"
#include "testmain.h"

#include <plugins/optiroster/internal/failurerule.h>

using namespace Plugin::OptiRoster::Internal;
namespace E = Core::Exception;

namespace {

// A type of the SDK's family that no clause names.
class CUnlistedException : public GenICam::GenericException
{
public:
    explicit CUnlistedException(const char* text) : GenericException(text, __FILE__, __LINE__, "CUnlistedException") {}
};

class CNullWhat : public std::exception
{
public:
    const char* what() const noexcept override { return nullptr; }
};

template <typename T>
QString typeName()
{
    return QString::fromLatin1(typeid(T).name());
}

// Throws what a row names: a type of the SDK's family by its name, or one from below it. The
// SDK's long text names a place in the source; the rows expect this one.
void throwAs(const QString& kind, const char* text)
{
    if (kind == QLatin1String("std::runtime_error"))
        throw std::runtime_error(text);
    if (kind == QLatin1String("std::bad_alloc"))
        throw std::bad_alloc();
    if (kind == QLatin1String("unlisted"))
        throw CUnlistedException(text);
    if (kind == QLatin1String("null std"))
        throw CNullWhat();
    if (kind == QLatin1String("null GenICam"))
        throw GenICam::RuntimeException(nullptr, nullptr, 0);
    GenICam::throwException(kind.toStdString(), text, "file.cpp", 7);
}

} // namespace

class TestFailureRule : public QObject
{
    Q_OBJECT

private slots:
    void genicamTypesBecomeHostTypes_data();
    void genicamTypesBecomeHostTypes();
    void hostExceptionsAndValuesPassThrough();
    void reportsStoreTheShortReasonAndLogTheLongOne_data();
    void reportsStoreTheShortReasonAndLogTheLongOne();
    void categoryIdsAreAskedOnce();
};

void TestFailureRule::genicamTypesBecomeHostTypes_data()
{
    QTest::addColumn<QString>("genicamType");
    QTest::addColumn<bool>("fileChain");
    QTest::addColumn<QString>("expected");

    const QVector<QPair<const char*, QString>> eight{
        {"InvalidArgumentException", typeName<E::ArgumentException>()},
        {"OutOfRangeException", typeName<E::ArgumentOutOfRangeException>()},
        {"AccessException", typeName<E::InvalidOperationException>()},
        {"TimeoutException", typeName<E::TimeoutException>()},
        {"LogicalErrorException", typeName<E::InvalidOperationException>()},
        {"BadAllocException", typeName<E::BadAllocException>()},
        {"RuntimeException", typeName<E::RuntimeException>()},
        {"GenericException", typeName<E::BaseException>()},
        {"unlisted", typeName<E::BaseException>()},
        // Outside the eight-clause table the file types fall to the last clause.
        {"FormatException", typeName<E::BaseException>()},
        // Failures from below the SDK may not reach a client either.
        {"std::runtime_error", typeName<E::RuntimeException>()},
        {"std::bad_alloc", typeName<E::BadAllocException>()},
    };
    for (const auto& row : eight)
        QTest::newRow(row.first) << QString::fromLatin1(row.first) << false << row.second;

    const QVector<QPair<const char*, QString>> eleven{
        {"FormatException", typeName<E::FormatException>()},
        {"FileIOException", typeName<E::FileIOException>()},
        {"FileNotFoundException", typeName<E::FileNotFoundException>()},
        {"AccessException", typeName<E::InvalidOperationException>()},
        {"GenericException", typeName<E::BaseException>()},
        {"std::runtime_error", typeName<E::RuntimeException>()},
    };
    for (const auto& row : eleven)
        QTest::newRow(qPrintable(QStringLiteral("file: %1").arg(QLatin1String(row.first)))) << QString::fromLatin1(row.first) << true << row.second;
}

void TestFailureRule::genicamTypesBecomeHostTypes()
{
    QFETCH(QString, genicamType);
    QFETCH(bool, fileChain);
    QFETCH(QString, expected);
    const auto fail = [&] { throwAs(genicamType, "because"); };
    try {
        fileChain ? translateFileFailures(fail) : translateFailures(fail);
        QFAIL("nothing was thrown");
    } catch (const E::BaseException& e) {
        QCOMPARE(QString::fromLatin1(typeid(e).name()), expected);
        // The short description, not the SDK's long text with its file and line.
        QCOMPARE(e.getMessage(), genicamType == QLatin1String("std::bad_alloc") ? QString::fromUtf8(std::bad_alloc().what())
                                                                                : QStringLiteral("because"));
    }
}

void TestFailureRule::hostExceptionsAndValuesPassThrough()
{
    QCOMPARE(translateFailures([] { return 42; }), 42);
    CLogRecorder log;
    const CFailureReport report(onceCategoryId<LogCategories::Camera>(), QStringLiteral("Camera could not be opened. Reason: "),
                                CFailureReport::PrefixAndReason);
    QVERIFY_EXCEPTION_THROWN(reportFailures(report, [] { throw E::AccessException(QStringLiteral("exclusive")); }),
                             E::AccessException);
    QVERIFY(log.entries().isEmpty());
    QVERIFY(reportFailures(report, [] {}));
}

void TestFailureRule::reportsStoreTheShortReasonAndLogTheLongOne_data()
{
    QTest::addColumn<int>("form");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QString>("thrown");
    QTest::addColumn<bool>("onCamera"); // false: an interface, a description of another class
    QTest::addColumn<QString>("reason");
    QTest::addColumn<QString>("logged");

    const int prefixed = CFailureReport::PrefixAndReason;
    const int sentence = CFailureReport::SentenceAndReason;
    const QString opened = QStringLiteral("Camera could not be opened. Reason: ");
    const QString interface = QStringLiteral("Interface could not be opened.");
    const QString genicam = QString::fromUtf8(GenICam::AccessException("not writable", "file.cpp", 7).what());
    QTest::newRow("camera, GenICam") << prefixed << opened << "AccessException" << true << "not writable" << opened + ' ' + genicam;
    QTest::newRow("camera, std") << prefixed << "Tavix device creation failed. Reason: " << "std::runtime_error" << true
                                 << "not writable" << "Tavix device creation failed. Reason:  not writable";
    QTest::newRow("interface, GenICam") << sentence << interface << "AccessException" << true << "not writable"
                                        << interface + " Reason: " + genicam;
    QTest::newRow("interface, std") << sentence << interface << "std::runtime_error" << true << "not writable"
                                    << "Interface could not be opened. Reason: not writable";
    // A null text is an empty reason, which replaces the old one.
    QTest::newRow("null std text") << prefixed << opened << "null std" << true << "" << opened + ' ';
    QTest::newRow("null GenICam text") << prefixed << opened << "null GenICam" << true << ""
                                       << opened + ' ' + QString::fromUtf8(GenICam::RuntimeException(nullptr, nullptr, 0).what());
    QTest::newRow("description of another class") << sentence << interface << "std::runtime_error" << false << ""
                                                   << "Interface could not be opened. Reason: not writable";
}

void TestFailureRule::reportsStoreTheShortReasonAndLogTheLongOne()
{
    QFETCH(int, form);
    QFETCH(QString, prefix);
    QFETCH(QString, thrown);
    QFETCH(bool, onCamera);
    QFETCH(QString, reason);
    QFETCH(QString, logged);

    CLogRecorder log;
    QSharedPointer<CTestCameraInfo> camera(new CTestCameraInfo(QStringLiteral("cam")));
    camera->setLastError(QStringLiteral("old"));
    const Plugin::OptiRoster::DeviceBaseInfoPtr failing =
        onCamera ? Plugin::OptiRoster::DeviceBaseInfoPtr(camera)
                 : Plugin::OptiRoster::DeviceBaseInfoPtr(new CTestInterfaceInfo(QStringLiteral("id"), QStringLiteral("if")));
    const CFailureReport report(onCamera ? onceCategoryId<LogCategories::Camera>() : onceCategoryId<LogCategories::Interface>(),
                                prefix, CFailureReport::ETextForm(form), CFailureReport::lastErrorOf<CTestCameraInfo>(failing));
    QVERIFY(!reportFailures(report, [&] { throwAs(thrown, "not writable"); }));
    QCOMPARE(failing->getLastError(), reason);
    const auto entries = log.entries();
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries[0].level, 0);
    QCOMPARE(entries[0].category, QString::fromLatin1(onCamera ? LogCategories::Camera : LogCategories::Interface));
    QCOMPARE(entries[0].message, logged);
}

void TestFailureRule::categoryIdsAreAskedOnce()
{
    const quint64 first = onceCategoryId<LogCategories::CameraEnumeration>();
    QCOMPARE(onceCategoryId<LogCategories::CameraEnumeration>(), first);
    QCOMPARE(Core::Logging::getCatName(first), QStringLiteral("tavix.viewer.plugins.optiroster.cameraEnumeration"));
    QVERIFY(onceCategoryId<LogCategories::TransportLayerList>() != first);
}

TAVIX_TEST_MAIN(TestFailureRule)
#include "tst_failurerule.moc"
