#pragma once

#include <QColor>
#include <QList>
#include <QPoint>
#include <QString>

class QObject;
class QQuickItem;

// Small lookups and actions the QML view tests share, so each test reads
// as what it checks rather than how it reaches into the item tree.
namespace quick {

// The first item under root with this objectName, or nullptr.
QQuickItem *child(QObject *root, const QString &name);
// The `text` of the named part; also finds non-item parts such as tooltips.
QString textOf(QObject *root, const QString &name);
// Whether the named item exists and is visible, so a missing one never passes as shown.
bool shown(QObject *root, const QString &name);
// The item's centre in window coordinates, where a pointer aims at it.
QPoint centreOf(QQuickItem *item);
// A left mouse click at the item's centre, as a user would press it.
void click(QQuickItem *item);
// The item's `color` property, for rectangles and text alike.
QColor colorOf(QQuickItem *item);
// Equal to the 8-bit precision the scene is drawn with.
bool sameColor(const QColor &a, const QColor &b);
// The name assistive technology announces for the object.
QString accessibleName(QObject *object);
// The item's top edge in scene coordinates, to compare the order items are laid out in.
qreal sceneY(QQuickItem *item);
// The visible items under root with this objectName, in tree order.
QList<QQuickItem *> visibleItems(QObject *root, const QString &name);
// A menu's entries, separators left out.
QList<QQuickItem *> menuEntries(QObject *menu);
// Opens the menu `menuName` under root and clicks its entry `entryName`, as a
// user chooses it; false when either is missing or the menu stays open.
bool choose(QObject *root, const QString &menuName, const QString &entryName);

} // namespace quick
