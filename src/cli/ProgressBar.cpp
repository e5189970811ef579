#include "ProgressBar.h"

#include "Console.h"
#include "l10n/L10n.h"
#include "updates/UpdateManager.h"

#include <algorithm>

#include <unistd.h>

namespace cli {
namespace {

constexpr int Width = 30;
constexpr int SharedWidth = 12;

QString barOf(const DownloadProgress &progress, int width)
{
    if (progress.total() <= 0)
        return {};
    const auto filled = int(width * std::min(progress.received(), progress.total()) / progress.total());
    return u'[' + QString(filled, u'#') + QString(width - filled, u'.') + QStringLiteral("] ");
}

} // namespace

ProgressBar::ProgressBar(const UpdateManager &manager, QStringList pluginIds)
    : m_manager(manager)
    , m_pluginIds(std::move(pluginIds))
{
    if (::isatty(STDERR_FILENO))
        connect(&manager, &UpdateManager::downloadProgressChanged, this, &ProgressBar::draw);
}

ProgressBar::~ProgressBar()
{
    if (m_drawn)
        err() << "\r\x1b[K" << Qt::flush;
}

void ProgressBar::draw()
{
    QStringList parts;
    for (const QString &id : m_pluginIds) {
        const DownloadProgress *progress = m_manager.downloadProgress(id);
        if (!progress)
            continue;
        const QString figures = L10n::downloadProgress(progress->received(), progress->total(), progress->rate()).en;
        parts << (m_pluginIds.size() == 1 ? barOf(*progress, Width) + figures
                                          : id + u' ' + barOf(*progress, SharedWidth) + figures);
    }
    if (parts.isEmpty())
        return;
    err() << '\r' << parts.join(QStringLiteral("  ")) << "\x1b[K" << Qt::flush;
    m_drawn = true;
}

} // namespace cli
