#include "HubUi.h"

#include "app/AppState.h"
#include "app/DesktopLinks.h"
#include "browser/ProductListModel.h"
#include "l10n/L10n.h"
#include "selfupdate/SelfUpdater.h"
#include "updates/UpdateRowsModel.h"

#include <QFont>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickStyle>

namespace hubui {

void registerSingletons(const HubUiContext &context)
{
    constexpr auto Uri = "Quillmarsh.Hub";
    qmlRegisterSingletonInstance(Uri, 1, 0, "AppState", &context.appState);
    qmlRegisterSingletonInstance(Uri, 1, 0, "L10n", &context.l10n);
    qmlRegisterSingletonInstance(Uri, 1, 0, "Links", &context.links);
    qmlRegisterSingletonInstance(Uri, 1, 0, "ProductListModel", &context.productList);
    qmlRegisterSingletonInstance(Uri, 1, 0, "UpdateRowsModel", &context.updateRows);
    qmlRegisterSingletonInstance(Uri, 1, 0, "SelfUpdater", &context.selfUpdater);
    qmlRegisterUncreatableMetaObject(HubInstallStateNs::staticMetaObject, Uri, 1, 0, "HubInstallState",
                                     QStringLiteral("an enumeration"));
    qmlRegisterUncreatableMetaObject(AppTabNs::staticMetaObject, Uri, 1, 0, "AppTab", QStringLiteral("an enumeration"));
    qmlRegisterUncreatableMetaObject(AppLanguageNs::staticMetaObject, Uri, 1, 0, "AppLanguage",
                                     QStringLiteral("an enumeration"));
    qmlRegisterUncreatableMetaObject(UpdateStatus::staticMetaObject, Uri, 1, 0, "UpdateStatus",
                                     QStringLiteral("an enumeration"));
}

void prepareEngine(QQmlEngine &engine)
{
    // Qt 6.4 does not look in the resource root for modules by itself.
    engine.addImportPath(QStringLiteral("qrc:/"));
}

QUrl mainWindowUrl()
{
    return QUrl(QStringLiteral("qrc:/Quillmarsh/Hub/Main.qml"));
}

void applyLook()
{
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    // Inter has real medium and semibold weights; Japanese and emoji fall
    // back, in that order, to fonts that cover them. Sizes are logical
    // pixels, the unit of every layout metric.
    QFont font(QStringLiteral("Inter"));
    font.setFamilies({QStringLiteral("Inter"), QStringLiteral("Noto Sans CJK JP"), QStringLiteral("Noto Color Emoji")});
    font.setPixelSize(13);
    QGuiApplication::setFont(font);
}

} // namespace hubui
