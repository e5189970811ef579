#pragma once

#include <QDir>
#include <QTemporaryDir>

// Points HOME and the XDG folders at a fresh temporary directory, so that no
// test ever reads or writes the real home or settings. Must be created
// before the QCoreApplication.
class TestSandbox
{
public:
    TestSandbox()
    {
        const QByteArray home = QFile::encodeName(m_dir.path());
        qputenv("HOME", home);
        qputenv("XDG_DATA_HOME", home + "/.local/share");
        qputenv("XDG_CONFIG_HOME", home + "/.config");
        qputenv("XDG_CACHE_HOME", home + "/.cache");
        qunsetenv("XDG_DOWNLOAD_DIR");
        QDir(m_dir.path()).mkpath(QStringLiteral("Downloads"));
        s_current = this;
    }

    QString home() const { return m_dir.path(); }
    QString downloads() const { return home() + QStringLiteral("/Downloads"); }

    static TestSandbox &current() { return *s_current; }

private:
    static inline TestSandbox *s_current = nullptr;
    QTemporaryDir m_dir{QDir::tempPath() + QStringLiteral("/quillmarsh-hub-test-XXXXXX")};
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
