#include "DesktopLinks.h"

#include "platform/Desktop.h"

DesktopLinks::DesktopLinks(platform::UrlOpener &opener, QObject *parent)
    : QObject(parent)
    , m_opener(opener)
{
}

void DesktopLinks::openUrl(const QUrl &url)
{
    if (url.isValid() && !url.isEmpty())
        m_opener.open(url);
}
