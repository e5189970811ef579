#include "TestSandbox.h"

#include <QDir>

#include <cstdlib>

namespace {
TestSandbox *s_current = nullptr;
}

TestSandbox::TestSandbox()
    : m_dir(QDir::tempPath() + QStringLiteral("/quillmarsh-hub-test-XXXXXX"))
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

TestSandbox &TestSandbox::current()
{
    return *s_current;
}
