#include "ProgressBar.h"

#include "Console.h"
#include "l10n/L10n.h"
#include "updates/UpdateManager.h"

#include <algorithm>

#include <unistd.h>

namespace cli {
namespace {

constexpr int Width = 30;

} // namespace

ProgressBar::ProgressBar(const UpdateManager &manager, QString pluginId)
    : m_manager(manager)
    , m_pluginId(std::move(pluginId))
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
    const DownloadProgress *progress = m_manager.downloadProgress(m_pluginId);
    if (!progress)
        return;
    const QString figures = L10n::downloadProgress(progress->received(), progress->total(), progress->rate()).en;
    QString bar;
    if (progress->total() > 0) {
        const auto filled = int(Width * std::min(progress->received(), progress->total()) / progress->total());
        bar = u'[' + QString(filled, u'#') + QString(Width - filled, u'.') + QStringLiteral("] ");
    }
    err() << '\r' << bar << figures << "\x1b[K" << Qt::flush;
    m_drawn = true;
}

} // namespace cli
