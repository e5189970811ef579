#pragma once

#include <QtGlobal>

#include <chrono>

namespace platform {

// How much and how long one transfer may take.
struct TransferLimits
{
    qint64 maximumBytes = -1;                                     // body size; -1 for none
    std::chrono::milliseconds stallTimeout = std::chrono::seconds(60); // without a byte arriving
    std::chrono::milliseconds totalTimeout{0};                    // from start to end; 0 for none
};

// The limits of every kind of transfer the hub makes, and of the files it
// reads back. The application uses the defaults; tests shrink them.
struct NetworkLimits
{
    // Far above any real catalogue or feed, far below what hurts memory.
    static constexpr qint64 DocumentSize = 16 * 1024 * 1024;
    // The installer ceiling, a build setting (QUILLMARSH_HUB_INSTALLER_SIZE_LIMIT).
    static const qint64 InstallerSize;

    TransferLimits catalogue{DocumentSize, std::chrono::seconds(10), std::chrono::seconds(10)};
    TransferLimits feed{DocumentSize, std::chrono::seconds(60), std::chrono::minutes(2)};
    TransferLimits appcast{1024 * 1024, std::chrono::seconds(60), std::chrono::minutes(2)};
    TransferLimits installer{InstallerSize, std::chrono::seconds(60), std::chrono::hours(12)};
    qint64 cacheFileSize = DocumentSize;

    static const NetworkLimits &defaults();
};

} // namespace platform
