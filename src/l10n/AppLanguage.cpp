#include "AppLanguage.h"

namespace appLanguage {

QString storedText(AppLanguage language)
{
    return language == AppLanguage::Ja ? QStringLiteral("ja") : QStringLiteral("en");
}

std::optional<AppLanguage> fromStoredText(const QString &text)
{
    for (AppLanguage language : allCases()) {
        if (storedText(language) == text)
            return language;
    }
    return std::nullopt;
}

QList<AppLanguage> allCases()
{
    return {AppLanguage::En, AppLanguage::Ja};
}

} // namespace appLanguage
