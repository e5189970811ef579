#pragma once

#include <QString>

// How an operation ended. The window ignores failures; the command line
// prints `error`.
struct Outcome
{
    QString error;

    bool ok() const { return error.isEmpty(); }
    static Outcome success() { return {}; }
    static Outcome failure(const QString &why) { return {why.isEmpty() ? QStringLiteral("failed") : why}; }
};
