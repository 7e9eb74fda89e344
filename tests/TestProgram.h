#pragma once

#include <QGuiApplication>
#include <QtTest>

#include <type_traits>

/// All test classes of a folder are linked into one program, because building a program for each
/// takes most of a build's time. Which class runs is the program's first argument, so that each
/// still has a process of its own; what follows it is for Qt Test.
namespace wingbell::testing {

using RunTest = int (*)(int argc, char** argv);

/// Makes the program know a test class under that name. Called before main() only.
bool addTest(const char* name, RunTest run);

/// Runs a class without any application object where Application is void, and otherwise with one
/// whose letters do not depend on the machine's screen.
template <typename Test, typename Application> int runTest(int argc, char** argv)
{
    if constexpr (std::is_void_v<Application>) {
        Test test;
        return QTest::qExec(&test, argc, argv);
    } else {
        QCoreApplication::setAttribute(Qt::AA_Use96Dpi);
        const Application application(argc, argv);
        Test test;
        return QTest::qExec(&test, argc, argv);
    }
}

} // namespace wingbell::testing

#define WINGBELL_TEST_WITH(Application, Test)                                                      \
    [[maybe_unused]] static const bool isKnown##Test =                                             \
        wingbell::testing::addTest(#Test, wingbell::testing::runTest<Test, Application>);

/// What Qt Test's QTEST_APPLESS_MAIN, QTEST_GUILESS_MAIN and QTEST_MAIN do for a program of one
/// class.
#define WINGBELL_APPLESS_TEST(Test) WINGBELL_TEST_WITH(void, Test)
#define WINGBELL_GUILESS_TEST(Test) WINGBELL_TEST_WITH(QCoreApplication, Test)
#define WINGBELL_GUI_TEST(Test) WINGBELL_TEST_WITH(QGuiApplication, Test)
