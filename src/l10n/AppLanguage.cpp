#include "AppLanguage.h"

namespace appLanguage {

QString storedText(AppLanguage language)
{
    return language == AppLanguage::Ja ? QStringLiteral("ja") : QStringLiteral("en");
}

std::optional<AppLanguage> fromStoredText(const QString &text)
{
    for (const AppLanguage language : {AppLanguage::En, AppLanguage::Ja}) {
        if (storedText(language) == text)
            return language;
    }
    return std::nullopt;
}

} // namespace appLanguage
