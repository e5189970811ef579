#pragma once

#include <QString>
#include <QUrl>

namespace platform {

// Opens web pages and folders with the user's own applications.
class UrlOpener
{
public:
    virtual ~UrlOpener() = default;
    virtual void open(const QUrl &url) = 0;
};

// Shows a downloaded file selected in the file manager.
class FileRevealer
{
public:
    virtual ~FileRevealer() = default;
    virtual void reveal(const QString &filePath) = 0;
};

// QDesktopServices in the GUI; xdg-open from the command line, where no
// QGuiApplication exists.
class DesktopUrlOpener final : public UrlOpener
{
public:
    void open(const QUrl &url) override;
};

// org.freedesktop.FileManager1.ShowItems on the session bus; when no file
// manager answers, the containing folder is opened instead.
class DesktopFileRevealer final : public FileRevealer
{
public:
    explicit DesktopFileRevealer(UrlOpener &fallback)
        : m_fallback(fallback)
    {
    }
    void reveal(const QString &filePath) override;

private:
    UrlOpener &m_fallback;
};

} // namespace platform
