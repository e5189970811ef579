import QtQuick
import QtQuick.Controls
import Quillmarsh.Hub

// The hub's scrolling lists. The keyboard moves through the entries in
// their order, not in the order the view happened to create them, and the
// entry that takes focus is scrolled into view. An entry (or the header)
// takes part through focusTabStop(forward), and tells the list when Tab
// leaves it through tabFrom().
ListView {
    id: list

    // Height at the top that a pinned section header covers.
    property real pinnedHeight: 0

    clip: true
    boundsBehavior: Flickable.StopAtBounds
    // Nothing is selected: focus alone marks where the keyboard is.
    currentIndex: -1
    ScrollBar.vertical: HubScrollBar {}

    // Scrolls the entry at `index` (-1: the header) wholly into view.
    function reveal(index) {
        if (index < 0) {
            positionViewAtBeginning()
            return
        }
        positionViewAtIndex(index, ListView.Contain)
        const entry = itemAtIndex(index)
        if (entry && entry.y < contentY + pinnedHeight)
            contentY = entry.y - pinnedHeight
    }

    // Moves focus on from the entry at `index` (-1: the header), whose
    // stop `from` Tab or Backtab just left; past the list when nothing
    // further in it can take focus. False when nothing took it.
    function tabFrom(index, from, forward) {
        const step = forward ? 1 : -1
        for (let i = index + step; i >= firstIndex() && i < count; i += step) {
            if (i >= 0 && !itemAtIndex(i))
                positionViewAtIndex(i, ListView.Contain)
            const entry = i < 0 ? headerItem : itemAtIndex(i)
            if (entry && entry.focusTabStop(forward))
                return true
        }
        let next = from ? from.nextItemInFocusChain(forward) : null
        while (next && next !== from && holds(next))
            next = next.nextItemInFocusChain(forward)
        if (!next || next === from)
            return false
        next.forceActiveFocus(forward ? Qt.TabFocusReason : Qt.BacktabFocusReason)
        return true
    }

    // Focus arriving from outside: the first entry, or the last going back.
    function enter(forward) {
        return tabFrom(forward ? firstIndex() - 1 : count, null, forward)
    }

    // -1 when the header takes part (it has a focusTabStop of its own).
    readonly property var headerEntry: headerItem
    function firstIndex() {
        return headerEntry && headerEntry.focusTabStop ? -1 : 0
    }

    function holds(item) {
        for (let up = item; up; up = up.parent)
            if (up === list)
                return true
        return false
    }
}
