#pragma once

#include <QCoro/QCoroTask>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace platform {

// Opens web pages and folders with the user's own applications.
class UrlOpener
{
public:
    virtual ~UrlOpener() = default;
    virtual void open(const QUrl &url) = 0;
};

// Shows downloaded files, all selected, in one file manager window.
class FileRevealer
{
public:
    virtual ~FileRevealer() = default;
    virtual void reveal(const QStringList &filePaths) = 0;
};

// QDesktopServices in the GUI; xdg-open from the command line, where no
// QGuiApplication exists.
class DesktopUrlOpener final : public UrlOpener
{
public:
    void open(const QUrl &url) override;
};

// org.freedesktop.FileManager1.ShowItems on the session bus; when no file
// manager answers, the folder of the first file is opened instead.
class DesktopFileRevealer final : public FileRevealer
{
public:
    explicit DesktopFileRevealer(UrlOpener &fallback)
        : m_fallback(fallback)
    {
    }
    void reveal(const QStringList &filePaths) override;

private:
    UrlOpener &m_fallback;
};

// Hands a downloaded package to the desktop's software installer.
class PackageInstaller
{
public:
    virtual ~PackageInstaller() = default;
    // True once an installer has taken the package; false when none would.
    virtual QCoro::Task<bool> install(QString packagePath) = 0;
};

// PackageKit's session interface (org.freedesktop.PackageKit.Modify
// InstallPackageFiles) where a session service answers, else the default
// application for the package's type, when one is registered.
class DesktopPackageInstaller final : public PackageInstaller
{
public:
    QCoro::Task<bool> install(QString packagePath) override;

private:
    static QCoro::Task<bool> throughPackageKit(QString packagePath);
    static QCoro::Task<bool> throughDefaultHandler(QString packagePath);
};

} // namespace platform
