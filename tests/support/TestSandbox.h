#pragma once

#include <QString>
#include <QTemporaryDir>

// Points HOME and the XDG folders at a fresh temporary directory, so that no
// test ever reads or writes the real home or settings. Must be created
// before the QCoreApplication.
class TestSandbox
{
public:
    TestSandbox();

    QString home() const { return m_dir.path(); }
    QString downloads() const { return home() + QStringLiteral("/Downloads"); }
    QString hubDirectory() const { return home() + QStringLiteral("/.local/share/QuillmarshHub"); }

    static TestSandbox &current();

private:
    QTemporaryDir m_dir;
};

// Like QTEST_GUILESS_MAIN, inside a sandboxed home.
#define HUB_TEST_MAIN(TestObject)                 \
    int main(int argc, char *argv[])              \
    {                                             \
        TestSandbox sandbox;                      \
        QCoreApplication app(argc, argv);         \
        app.setOrganizationName("Quillmarsh");    \
        app.setApplicationName("Quillmarsh Hub"); \
        TestObject tc;                            \
        QTEST_SET_MAIN_SOURCE_PATH                \
        return QTest::qExec(&tc, argc, argv);     \
    }
