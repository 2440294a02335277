#pragma once

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QtTest>

// A test's own organisation and name, and Qt's test mode for the settings location, so that
// no test reads or writes a real user's settings.
#define TAVIX_TEST_MAIN(TestClass)                                                                  \
    int main(int argc, char* argv[])                                                               \
    {                                                                                              \
        QStandardPaths::setTestModeEnabled(true);                                                  \
        QCoreApplication app(argc, argv);                                                          \
        QCoreApplication::setOrganizationName(QStringLiteral("TavixTests"));                       \
        QCoreApplication::setApplicationName(QStringLiteral(#TestClass));                          \
        QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=false")); /* tests read the sink */ \
        TestClass test;                                                                            \
        QTEST_SET_MAIN_SOURCE_PATH                                                                 \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
