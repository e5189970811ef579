#include "QuickItems.h"

#include "QmlHarness.h"

#include <QAccessible>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest>

namespace quick {

QQuickItem *child(QObject *root, const QString &name)
{
    return qobject_cast<QQuickItem *>(QmlHarness::find(root, name));
}

QString textOf(QObject *root, const QString &name)
{
    QObject *part = QmlHarness::find(root, name);
    return part ? part->property("text").toString() : QStringLiteral("<missing %1>").arg(name);
}

bool shown(QObject *root, const QString &name)
{
    QQuickItem *item = child(root, name);
    return item && item->isVisible();
}

QPoint centreOf(QQuickItem *item)
{
    return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
}

void click(QQuickItem *item) { QTest::mouseClick(item->window(), Qt::LeftButton, {}, centreOf(item)); }

QColor colorOf(QQuickItem *item) { return item->property("color").value<QColor>(); }

bool sameColor(const QColor &a, const QColor &b)
{
    return qAbs(a.red() - b.red()) <= 1 && qAbs(a.green() - b.green()) <= 1 && qAbs(a.blue() - b.blue()) <= 1
        && qAbs(a.alpha() - b.alpha()) <= 1;
}

QString accessibleName(QObject *object)
{
    QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(object);
    return accessible ? accessible->text(QAccessible::Name) : QStringLiteral("<not accessible>");
}

qreal sceneY(QQuickItem *item) { return item->mapToScene(QPointF()).y(); }

QList<QQuickItem *> visibleItems(QObject *root, const QString &name)
{
    QList<QQuickItem *> items;
    for (QObject *object : QmlHarness::findAll(root, name))
        if (auto *item = qobject_cast<QQuickItem *>(object); item && item->isVisible())
            items << item;
    return items;
}

QList<QQuickItem *> menuEntries(QObject *menu)
{
    QList<QQuickItem *> entries;
    const int count = menu ? menu->property("count").toInt() : 0;
    for (int i = 0; i < count; ++i) {
        QQuickItem *item = nullptr;
        QMetaObject::invokeMethod(menu, "itemAt", Q_RETURN_ARG(QQuickItem *, item), Q_ARG(int, i));
        if (item && item->inherits("QQuickMenuItem"))
            entries << item;
    }
    return entries;
}

bool choose(QObject *root, const QString &menuName, const QString &entryName)
{
    QObject *menu = QmlHarness::find(root, menuName);
    if (!menu)
        return false;
    QMetaObject::invokeMethod(menu, "open");
    if (!QTest::qWaitFor([menu] { return menu->property("opened").toBool(); }))
        return false;
    for (QQuickItem *entry : menuEntries(menu)) {
        if (entry->objectName() == entryName) {
            click(entry);
            return QTest::qWaitFor([menu] { return !menu->property("visible").toBool(); });
        }
    }
    return false;
}

} // namespace quick
