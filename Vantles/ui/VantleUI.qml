// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// The library's full interface, for the packages that bring none of their
// own. Uses only the colours of the palette, through the panel.
//
// Reads from the content element "vantle": the child elements <title>,
// <text> (rich text; %(name)s placeholders are filled from the host's global
// properties), <image source="..."> (a file in Resources), any number of
// <link topic="..."> or <link href="..."> (label as content) and
// <video source="...">, and the attribute "shortcut".
//
// Assistive technology reads the title as a heading, the text as text and
// the links, "Pin" and play / pause as links and buttons whose Press action
// calls their accessiblePressAction() (as Qt's accessibility does for an
// item with no Accessible.onPressAction, which would list Press twice).
// Once pinned, Tab and Shift+Tab move through them and Enter or Space
// activates the one that has the focus.
import QtQuick 2.15
import com.zelvane.vantles.qml 1.0

VTStyledRectangle {
    id: root

    readonly property int margin: vantleView.getScaledSize(10)
    readonly property int maxTextHeight: vantleView.getScaledSize(160)
    readonly property var titleElement: vantle ? vantle.childElement("title") : null
    readonly property var textElement: vantle ? vantle.childElement("text") : null
    readonly property var imageElement: vantle ? vantle.childElement("image") : null
    readonly property var videoElement: vantle ? vantle.childElement("video") : null
    readonly property var links: vantle ? vantle.childElementList("link") : []
    readonly property string shortcut: vantle ? vantle.attribute("shortcut") : ""

    toolTipStyle: true
    radius: vantleView.cornerRadius
    width: vantleView.getScaledSize(340)
    height: column.height + 2 * margin

    // Enter, Return and Space activate the control that has the focus.
    function activateOnKey(event, activate) {
        if (event.key === Qt.Key_Return || event.key === Qt.Key_Enter || event.key === Qt.Key_Space) {
            activate()
            event.accepted = true
        }
    }

    // Shows which control has the keyboard focus.
    component FocusRing: Rectangle {
        anchors.fill: parent
        anchors.margins: -2
        visible: parent.activeFocus
        color: "transparent"
        border.color: root.linkColor
        border.width: 1
        radius: 2
    }

    Column {
        id: column
        x: root.margin
        y: root.margin
        width: root.width - 2 * root.margin
        spacing: vantleView.getScaledSize(6)

        Row {
            width: parent.width
            spacing: vantleView.getScaledSize(8)

            Text {
                id: title
                objectName: "title"
                width: parent.width - shortcutLabel.width - pin.width - 2 * parent.spacing
                text: root.titleElement ? root.titleElement.content : ""
                font.bold: true
                font.pixelSize: vantleView.getScaledSize(15)
                color: root.textColor
                wrapMode: Text.Wrap
                Accessible.role: Accessible.Heading
                Accessible.name: vantleView.plainText(text)
            }
            Text {
                id: shortcutLabel
                objectName: "shortcut"
                visible: root.shortcut.length > 0
                width: visible ? implicitWidth : 0
                text: root.shortcut
                font.pixelSize: vantleView.getScaledSize(12)
                color: root.secondaryTextColor
            }
            Text {
                id: pin
                objectName: "pin"
                text: vantleView.reserved ? "" : vantleView.translate("Pin", "VantleUI")
                visible: !vantleView.reserved
                font.pixelSize: vantleView.getScaledSize(11)
                font.underline: true
                color: root.linkColor
                function accessiblePressAction() {
                    vantleView.stayOpen = true
                    vantleView.reserved = true
                }
                Accessible.role: Accessible.Button
                Accessible.name: text
                Accessible.ignored: !visible
                activeFocusOnTab: visible
                Keys.onPressed: (event) => root.activateOnKey(event, accessiblePressAction)
                FocusRing {}
                MouseArea {
                    anchors.fill: parent
                    cursorShape: Qt.PointingHandCursor
                    onClicked: parent.accessiblePressAction()
                }
            }
        }

        Item {
            width: parent.width
            height: Math.min(body.implicitHeight, root.maxTextHeight)
            clip: true

            Flickable {
                id: flick
                anchors.fill: parent
                // The gutter is always kept: making it depend on whether the
                // text overflows would make the text's width depend on itself.
                anchors.rightMargin: scrollBar.width + 4
                contentHeight: body.implicitHeight
                boundsBehavior: Flickable.StopAtBounds
                onContentYChanged: scrollBar.setPositionExternal(contentY)

                Text {
                    id: body
                    objectName: "text"
                    width: flick.width
                    text: root.textElement ? vantleView.interpolate(root.textElement.content) : ""
                    textFormat: Text.RichText
                    wrapMode: Text.Wrap
                    font.pixelSize: vantleView.getScaledSize(12)
                    color: root.textColor
                    Accessible.role: Accessible.StaticText
                    Accessible.name: vantleView.plainText(text)
                }
            }

            VTScrollBar {
                id: scrollBar
                objectName: "scrollBar"
                anchors.right: parent.right
                width: vantleView.getScaledSize(14)
                height: parent.height
                visible: flick.contentHeight > flick.height
                start: 0
                end: Math.max(0, flick.contentHeight - flick.height)
                onHeightChanged: updateDimensions()
                onWidthChanged: updateDimensions()
                onPositionChanged: if (flick.contentY !== position) flick.contentY = position
                Component.onCompleted: updateDimensions()
            }
        }

        Image {
            objectName: "image"
            visible: root.imageElement !== null && status === Image.Ready
            source: root.imageElement ? "file://" + vantleView.findResource(root.imageElement.attribute("source")) : ""
            width: Math.min(parent.width, sourceSize.width)
            fillMode: Image.PreserveAspectFit
            Accessible.role: Accessible.Graphic
            Accessible.name: root.imageElement ? root.imageElement.attribute("alt") : ""
            Accessible.ignored: !visible || Accessible.name.length === 0
        }

        Item {
            // The clip of a <video> element, with play / pause and a
            // position bar that can be dragged.
            objectName: "videoArea"
            visible: root.videoElement !== null
            width: parent.width
            height: visible ? video.height + controls.height + 4 : 0

            VTVideoComponent {
                id: video
                objectName: "video"
                source: root.videoElement ? root.videoElement.attribute("source") : ""
                // Never wider than the panel; frames are decoded at this size.
                width: Math.min(parent.width, contentWidth)
                height: contentWidth > 0 ? width * contentHeight / contentWidth : 0
                anchors.horizontalCenter: parent.horizontalCenter
                // Plays once, as soon as the first frames are decoded.
                property bool started: false
                onLoadProgressChanged: if (!started && loadProgress > 0) { started = true; play() }
            }

            Row {
                id: controls
                anchors.top: video.bottom
                anchors.topMargin: 4
                width: parent.width
                spacing: 6

                Text {
                    id: playButton
                    objectName: "playButton"
                    text: video.state === VTVideoComponent.playingState ? vantleView.translate("Pause", "VantleUI")
                                                                        : vantleView.translate("Play", "VantleUI")
                    font.pixelSize: vantleView.getScaledSize(11)
                    font.underline: true
                    color: root.linkColor
                    function accessiblePressAction() {
                        video.state === VTVideoComponent.playingState ? video.pause() : video.play()
                    }
                    Accessible.role: Accessible.Button
                    Accessible.name: text
                    Accessible.ignored: root.videoElement === null
                        activeFocusOnTab: root.videoElement !== null
                    Keys.onPressed: (event) => root.activateOnKey(event, accessiblePressAction)
                    FocusRing {}
                    MouseArea {
                        anchors.fill: parent
                        cursorShape: Qt.PointingHandCursor
                        onClicked: parent.accessiblePressAction()
                    }
                }

                Rectangle {
                    id: track
                    objectName: "positionBar"
                    width: controls.width - playButton.width - controls.spacing
                    height: 6
                    anchors.verticalCenter: playButton.verticalCenter
                    radius: 3
                    color: Qt.rgba(root.secondaryTextColor.r, root.secondaryTextColor.g, root.secondaryTextColor.b, 0.35)
                    Rectangle {
                        width: parent.width * Math.max(0, Math.min(1, video.progress))
                        height: parent.height
                        radius: 3
                        color: root.linkColor
                    }
                    MouseArea {
                        anchors.fill: parent
                        anchors.margins: -6
                        onPressed: (mouse) => { video.scrubbing = true; video.progress = mouse.x / track.width }
                        onPositionChanged: (mouse) => video.progress = Math.max(0, Math.min(1, mouse.x / track.width))
                        onReleased: video.scrubbing = false
                    }
                }
            }
        }

        Text {
            visible: root.links.length > 0
            text: vantleView.translate("Learn more", "VantleUI")
            font.pixelSize: vantleView.getScaledSize(11)
            color: root.secondaryTextColor
        }

        Repeater {
            model: root.links
            delegate: Text {
                objectName: "link"
                readonly property string target: modelData.hasAttribute("href") ? modelData.attribute("href")
                                                                                   : modelData.attribute("topic")
                readonly property bool canOpen: modelData.hasAttribute("href") || vantleView.documentationAvailable
                text: "\u2192 " + modelData.content
                font.pixelSize: vantleView.getScaledSize(12)
                font.underline: canOpen
                color: canOpen ? root.linkColor : root.textColor
                function accessiblePressAction() {
                    if (canOpen)
                        vantleView.openExternalResource(target)
                }
                Accessible.role: canOpen ? Accessible.Link : Accessible.StaticText
                Accessible.name: modelData.content
                activeFocusOnTab: canOpen
                Keys.onPressed: (event) => root.activateOnKey(event, accessiblePressAction)
                FocusRing {}
                MouseArea {
                    anchors.fill: parent
                    enabled: parent.canOpen
                    cursorShape: Qt.PointingHandCursor
                    onClicked: parent.accessiblePressAction()
                }
            }
        }
    }

    states: State {
        name: "pinned"
        when: vantleView.reserved
    }
}
