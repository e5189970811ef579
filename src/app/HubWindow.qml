import QtQuick
import Quillmarsh.Hub

// The hub's secondary windows (settings, help, about): the dark palette
// whatever the desktop theme says.
Window {
    color: HubColors.background

    palette {
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
}
