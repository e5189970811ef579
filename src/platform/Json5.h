#pragma once

#include <QByteArray>

#include <optional>

namespace platform::json5 {

// Strict JSON from the relaxed JSON that plug-in SDKs write (comments,
// trailing commas), in one linear pass, or no value when a comment or a
// string is left open. Everything else is left for QJsonDocument to judge,
// including its nesting limit.
std::optional<QByteArray> toStrictJson(const QByteArray &relaxed);

} // namespace platform::json5
