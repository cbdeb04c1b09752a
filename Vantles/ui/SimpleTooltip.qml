// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// The library's simple interface: the title and the shortcut, as a plain
// tooltip, for the packages that bring none of their own.
import QtQuick 2.15
import com.zelvane.vantles.qml 1.0

VTStyledRectangle {
    id: root

    readonly property var titleElement: vantle ? vantle.childElement("title") : null
    readonly property string shortcut: vantle ? vantle.attribute("shortcut") : ""
    readonly property int padding: vantleView.getScaledSize(6)

    toolTipStyle: true
    radius: vantleView.cornerRadius
    width: label.implicitWidth + (shortcutLabel.visible ? shortcutLabel.implicitWidth + padding : 0) + 2 * padding
    height: label.implicitHeight + vantleView.getScaledSize(8)

    Text {
        id: label
        objectName: "title"
        x: root.padding
        anchors.verticalCenter: parent.verticalCenter
        text: root.titleElement ? root.titleElement.content : ""
        font.pixelSize: vantleView.getScaledSize(12)
        color: root.textColor
        Accessible.role: Accessible.StaticText
        Accessible.name: vantleView.plainText(text)
    }
    Text {
        id: shortcutLabel
        objectName: "shortcut"
        anchors.left: label.right
        anchors.leftMargin: root.padding
        anchors.baseline: label.baseline
        visible: root.shortcut.length > 0
        text: root.shortcut
        font.pixelSize: vantleView.getScaledSize(11)
        color: root.secondaryTextColor
    }
}
