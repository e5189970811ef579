#pragma once

#include <QObject>
#include <QString>

#include <optional>

// The interface languages, in the order the settings window lists them.
namespace AppLanguageNs {
Q_NAMESPACE
enum class AppLanguage { En, Ja };
Q_ENUM_NS(AppLanguage)
} // namespace AppLanguageNs

using AppLanguageNs::AppLanguage;

namespace appLanguage {

// "en" or "ja": the text kept in the settings file.
QString storedText(AppLanguage language);
// Exactly "en" or "ja"; anything else is no language.
std::optional<AppLanguage> fromStoredText(const QString &text);

} // namespace appLanguage
