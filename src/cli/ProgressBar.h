#pragma once

#include <QObject>
#include <QString>

class UpdateManager;

namespace cli {

// A download's progress as one line on standard error, redrawn in place
// and cleared at the end; nothing at all unless standard error is a
// terminal, so logs and pipes get only the result.
class ProgressBar : public QObject
{
public:
    ProgressBar(const UpdateManager &manager, QString pluginId);
    ~ProgressBar() override;

private:
    void draw();

    const UpdateManager &m_manager;
    const QString m_pluginId;
    bool m_drawn = false;
};

} // namespace cli
