import QtQuick
import Quillmarsh.Hub

// The palette every hub window sets, so the stock controls (scroll bars,
// radio buttons, menus) are dark whatever the desktop theme says.
Palette {
    window: HubColors.background
    windowText: HubColors.text
    base: HubColors.surface
    alternateBase: HubColors.surface
    text: HubColors.text
    button: HubColors.surface
    buttonText: HubColors.text
    brightText: HubColors.text
    highlight: HubColors.accent
    highlightedText: "black"
    light: "#34343f"
    midlight: "#2a2a33"
    mid: "#2a2a33"
    dark: HubColors.divider
    shadow: "black"
    link: HubColors.accent
    toolTipBase: HubColors.surface
    toolTipText: HubColors.text
    placeholderText: HubColors.textSecondary
}
