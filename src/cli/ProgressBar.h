#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

class UpdateManager;

namespace cli {

// Downloads' progress as one line on standard error, redrawn in place and
// cleared at the end; nothing at all unless standard error is a terminal,
// so logs and pipes get only the result. Of several products, those
// downloading now share the line, each named.
class ProgressBar : public QObject
{
public:
    ProgressBar(const UpdateManager &manager, QStringList pluginIds);
    ~ProgressBar() override;

private:
    void draw();

    const UpdateManager &m_manager;
    const QStringList m_pluginIds;
    bool m_drawn = false;
};

} // namespace cli
