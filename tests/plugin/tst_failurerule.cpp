#include "logrecorder.h"
#include "testdevices.h"
#include "testmain.h"

#include <plugins/optiroster/internal/failurerule.h>

#include <typeindex>

using namespace Plugin::OptiRoster::Internal;
namespace E = Core::Exception;

namespace {

// A type of the SDK's family that no clause names.
class CUnlistedException : public GenICam::GenericException
{
public:
    CUnlistedException() : GenericException("unlisted", __FILE__, __LINE__, "CUnlistedException") {}
};

class CNullWhat : public std::exception
{
public:
    const char* what() const noexcept override { return nullptr; }
};

QString thrownBy(const std::function<void()>& fn)
{
    try {
        fn();
    } catch (const E::BaseException& e) {
        return QString::fromLatin1(typeid(e).name());
    }
    return QStringLiteral("nothing");
}

template <typename T>
QString typeName()
{
    return QString::fromLatin1(typeid(T).name());
}

const QString CameraCategory = QString::fromLatin1(LogCategories::Camera);

} // namespace

class TestFailureRule : public QObject
{
    Q_OBJECT

private slots:
    void genicamTypesBecomeHostTypes_data();
    void genicamTypesBecomeHostTypes();
    void translationKeepsTheShortDescription();
    void hostExceptionsPassThroughAReportingPair();
    void reportsStoreTheShortReasonAndLogTheLongOne_data();
    void reportsStoreTheShortReasonAndLogTheLongOne();
    void aNullTextGivesAnEmptyReason();
    void aDescriptionOfAnotherClassKeepsNoText();
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

    const auto fail = [&] {
        if (genicamType == QLatin1String("std::runtime_error"))
            throw std::runtime_error("because");
        if (genicamType == QLatin1String("std::bad_alloc"))
            throw std::bad_alloc();
        GenICam::throwException(genicamType.toStdString(), "because", __FILE__, __LINE__);
    };
    const QString thrown = fileChain ? thrownBy([&] { translateFileFailures(fail); })
                                             : thrownBy([&] { translateFailures(fail); });
    QCOMPARE(thrown, expected);
}

void TestFailureRule::translationKeepsTheShortDescription()
{
    try {
        translateFailures([]() -> int { throw CUnlistedException(); });
        QFAIL("nothing was thrown");
    } catch (const E::BaseException& e) {
        QCOMPARE(std::type_index(typeid(e)), std::type_index(typeid(E::BaseException)));
        QCOMPARE(e.getMessage(), QStringLiteral("unlisted"));
    }
    QCOMPARE(translateFailures([] { return 42; }), 42);
}

void TestFailureRule::hostExceptionsPassThroughAReportingPair()
{
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
    QTest::addColumn<bool>("standard");
    QTest::addColumn<QString>("logged");

    const GenICam::AccessException sample("not writable", "file.cpp", 7);
    QTest::newRow("camera, GenICam") << int(CFailureReport::PrefixAndReason) << "Camera could not be opened. Reason: " << false
                                     << QStringLiteral("Camera could not be opened. Reason:  ") + QString::fromUtf8(sample.what());
    QTest::newRow("camera, std") << int(CFailureReport::PrefixAndReason) << "Tavix device creation failed. Reason: " << true
                                 << "Tavix device creation failed. Reason:  not writable";
    QTest::newRow("interface, GenICam") << int(CFailureReport::SentenceAndReason) << "Interface could not be opened." << false
                                        << QStringLiteral("Interface could not be opened. Reason: ") + QString::fromUtf8(sample.what());
    QTest::newRow("interface, std") << int(CFailureReport::SentenceAndReason) << "Interface could not be opened." << true
                                    << "Interface could not be opened. Reason: not writable";
}

void TestFailureRule::reportsStoreTheShortReasonAndLogTheLongOne()
{
    QFETCH(int, form);
    QFETCH(QString, prefix);
    QFETCH(bool, standard);
    QFETCH(QString, logged);

    CLogRecorder log;
    QSharedPointer<CTestCameraInfo> info(new CTestCameraInfo(QStringLiteral("cam")));
    const Plugin::OptiRoster::DeviceBaseInfoPtr base = info;
    const CFailureReport report(onceCategoryId<LogCategories::Camera>(), prefix, CFailureReport::ETextForm(form),
                                CFailureReport::lastErrorOf<CTestCameraInfo>(base));
    const bool succeeded = reportFailures(report, [&] {
        if (standard)
            throw std::runtime_error("not writable");
        throw GenICam::AccessException("not writable", "file.cpp", 7);
    });
    QVERIFY(!succeeded);
    QCOMPARE(info->getLastError(), QStringLiteral("not writable"));
    const auto entries = log.entries();
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries[0].level, 0);
    QCOMPARE(entries[0].category, CameraCategory);
    QCOMPARE(entries[0].message, logged);
}

void TestFailureRule::aNullTextGivesAnEmptyReason()
{
    CLogRecorder log;
    QSharedPointer<CTestCameraInfo> info(new CTestCameraInfo(QStringLiteral("cam")));
    info->setLastError(QStringLiteral("old"));
    const CFailureReport report(onceCategoryId<LogCategories::Camera>(), QStringLiteral("Camera could not be opened. Reason: "),
                                CFailureReport::PrefixAndReason, CFailureReport::lastErrorOf<CTestCameraInfo>(info));
    QVERIFY(!reportFailures(report, [] { throw CNullWhat(); }));
    QCOMPARE(info->getLastError(), QString());
    QCOMPARE(log.messages(), QStringList{QStringLiteral("Camera could not be opened. Reason:  ")});

    log.clear();
    QVERIFY(!reportFailures(report, [] { throw GenICam::RuntimeException(nullptr, nullptr, 0); }));
    QCOMPARE(info->getLastError(), QString());
    QCOMPARE(log.entries().size(), 1);
}

void TestFailureRule::aDescriptionOfAnotherClassKeepsNoText()
{
    CLogRecorder log;
    const Plugin::OptiRoster::DeviceBaseInfoPtr other(new CTestInterfaceInfo(QStringLiteral("id"), QStringLiteral("if")));
    const CFailureReport report(onceCategoryId<LogCategories::Interface>(), QStringLiteral("Interface could not be opened."),
                                CFailureReport::SentenceAndReason, CFailureReport::lastErrorOf<CTestCameraInfo>(other));
    QVERIFY(!reportFailures(report, [] { throw std::runtime_error("gone"); }));
    QCOMPARE(other->getLastError(), QString());
    QCOMPARE(log.messages(QString::fromLatin1(LogCategories::Interface)),
             QStringList{QStringLiteral("Interface could not be opened. Reason: gone")});
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
