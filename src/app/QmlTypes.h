#pragma once

#include "app/AppState.h"
#include "app/DesktopLinks.h"
#include "app/HubSession.h"
#include "browser/ProductListModel.h"
#include "l10n/AppLanguage.h"
#include "l10n/L10n.h"
#include "l10n/StringKey.h"
#include "selfupdate/SelfUpdater.h"
#include "updates/UpdateNotifier.h"
#include "updates/UpdateRowsModel.h"
#include "updates/UpdateStatus.h"

#include <QJSEngine>
#include <QQmlEngine>

// How the model's types reach the Quillmarsh.Hub module. The model library
// knows nothing of QML, so each type is declared here as a foreign type;
// the singletons hand QML the running session's one instance.

namespace hubui {

// A live session's object handed to QML, which must never delete it.
template<typename T>
T *cppOwned(QJSEngine *engine, T &object)
{
    engine->setObjectOwnership(&object, QJSEngine::CppOwnership);
    return &object;
}

} // namespace hubui

struct AppStateSingleton
{
    Q_GADGET
    QML_FOREIGN(AppState)
    QML_NAMED_ELEMENT(AppState)
    QML_SINGLETON
public:
    static AppState *create(QQmlEngine *, QJSEngine *engine) { return hubui::cppOwned(engine, HubSession::current().state); }
};

struct L10nSingleton
{
    Q_GADGET
    QML_FOREIGN(L10n)
    QML_NAMED_ELEMENT(L10n)
    QML_SINGLETON
public:
    static L10n *create(QQmlEngine *, QJSEngine *engine) { return hubui::cppOwned(engine, HubSession::current().l10n); }
};

struct LinksSingleton
{
    Q_GADGET
    QML_FOREIGN(DesktopLinks)
    QML_NAMED_ELEMENT(Links)
    QML_SINGLETON
public:
    static DesktopLinks *create(QQmlEngine *, QJSEngine *engine)
    {
        return hubui::cppOwned(engine, HubSession::current().links);
    }
};

struct ProductListModelSingleton
{
    Q_GADGET
    QML_FOREIGN(ProductListModel)
    QML_NAMED_ELEMENT(ProductListModel)
    QML_SINGLETON
public:
    static ProductListModel *create(QQmlEngine *, QJSEngine *engine)
    {
        return hubui::cppOwned(engine, HubSession::current().productList);
    }
};

struct UpdateRowsModelSingleton
{
    Q_GADGET
    QML_FOREIGN(UpdateRowsModel)
    QML_NAMED_ELEMENT(UpdateRowsModel)
    QML_SINGLETON
public:
    static UpdateRowsModel *create(QQmlEngine *, QJSEngine *engine)
    {
        return hubui::cppOwned(engine, HubSession::current().updateRows);
    }
};

struct SelfUpdaterSingleton
{
    Q_GADGET
    QML_FOREIGN(SelfUpdater)
    QML_NAMED_ELEMENT(SelfUpdater)
    QML_SINGLETON
public:
    static SelfUpdater *create(QQmlEngine *, QJSEngine *engine)
    {
        return hubui::cppOwned(engine, HubSession::current().selfUpdater);
    }
};

struct UpdateNotifierSingleton
{
    Q_GADGET
    QML_FOREIGN(UpdateNotifier)
    QML_NAMED_ELEMENT(UpdateNotifier)
    QML_SINGLETON
public:
    static UpdateNotifier *create(QQmlEngine *, QJSEngine *engine)
    {
        return hubui::cppOwned(engine, HubSession::current().updateNotifier);
    }
};

// Types QML reaches only through the singletons' properties.
struct ProductCatalogManagerForeign
{
    Q_GADGET
    QML_FOREIGN(ProductCatalogManager)
    QML_ANONYMOUS
};

struct UpdateManagerForeign
{
    Q_GADGET
    QML_FOREIGN(UpdateManager)
    QML_ANONYMOUS
};

// A text in both languages, as a value.
struct StringKeyForeign
{
    Q_GADGET
    QML_FOREIGN(StringKey)
    QML_VALUE_TYPE(stringKey)
    QML_UNCREATABLE("texts come from the engine")
};

// Enumerations the views compare against.
namespace HubInstallStateForeign {
Q_NAMESPACE
QML_FOREIGN_NAMESPACE(HubInstallStateNs)
QML_NAMED_ELEMENT(HubInstallState)
} // namespace HubInstallStateForeign

namespace AppTabForeign {
Q_NAMESPACE
QML_FOREIGN_NAMESPACE(AppTabNs)
QML_NAMED_ELEMENT(AppTab)
} // namespace AppTabForeign

namespace AppLanguageForeign {
Q_NAMESPACE
QML_FOREIGN_NAMESPACE(AppLanguageNs)
QML_NAMED_ELEMENT(AppLanguage)
} // namespace AppLanguageForeign

namespace UpdateStatusForeign {
Q_NAMESPACE
QML_FOREIGN_NAMESPACE(UpdateStatusNs)
QML_NAMED_ELEMENT(UpdateStatus)
} // namespace UpdateStatusForeign
