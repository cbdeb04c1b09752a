// The simple interface: the title and the shortcut, as a plain tooltip.
import QtQuick 2.15
import com.zelvane.vantles.qml 1.0

VTStyledRectangle {
    id: root

    readonly property var titleElement: vantle ? vantle.childElement("title") : null
    readonly property string shortcut: vantle ? vantle.attribute("shortcut") : ""

    toolTipStyle: true
    width: label.implicitWidth + vantleView.getScaledSize(12)
    height: label.implicitHeight + vantleView.getScaledSize(8)

    Text {
        id: label
        objectName: "title"
        anchors.centerIn: parent
        text: (root.titleElement ? root.titleElement.content : "") + (root.shortcut.length > 0 ? "  (" + root.shortcut + ")" : "")
        font.pixelSize: vantleView.getScaledSize(12)
        color: root.textColor
    }
}
