import QtQuick
import QtQuick.Controls
import Quillmarsh.Hub

// The vertical scroll bar of the hub's scrolling views: always shown while
// there is more than fits, not only during a scroll.
ScrollBar {
    id: bar
    objectName: "scrollBar"
    policy: size < 1 ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
    contentItem: Rectangle {
        implicitWidth: 6
        radius: 3
        color: HubColors.withOpacity(HubColors.textSecondary, bar.pressed ? 0.8 : 0.5)
    }
}
