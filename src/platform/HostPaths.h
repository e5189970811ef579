#pragma once

#include <QString>

namespace platform {

// Where the hub keeps its files and where the user's own folders are.
class HostPaths
{
public:
    virtual ~HostPaths() = default;

    // The user's home directory, without a trailing slash.
    virtual QString homePath() const = 0;
    // <data location>/QuillmarshHub; may not exist yet.
    virtual QString hubDirectory() const = 0;
    // The user's Downloads folder; empty when the desktop names none.
    virtual QString downloadsDirectory() const = 0;
};

// The XDG locations of the user running the hub.
class SystemHostPaths final : public HostPaths
{
public:
    QString homePath() const override;
    QString hubDirectory() const override;
    QString downloadsDirectory() const override;
};

} // namespace platform
