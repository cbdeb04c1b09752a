// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// The control files the benchmarks read: vantles of about 1 KB with the kind
// of content real packages carry (title, text with inline markup and
// entities, a nested section, images, links, a clip, a namespaced element).

#include <QByteArray>

#include <functional>

namespace VTBench {

/// A control file of @p count vantles; vantle i has the key @p keyFor(i).
inline QByteArray controlFile(int count, const std::function<QByteArray(int)>& keyFor)
{
    // "@K" is the key, "@N" the vantle's number, "@G" a small group number.
    static const char vantleTemplate[] = R"(  <vantle key="@K" category="Group@G" order="@N">
    <title>Command number @N</title>
    <text>Runs command @N on the current selection. The command works on every kind of object that the document holds, and it can be taken back with <b>Undo</b>. When nothing is selected, it works on the whole document &amp; its pages.</text>
    <section kind="details" collapsed="true">
      <paragraph>Hold <em>Shift</em> to apply it to hidden objects as well. The last settings are kept for the next time.</paragraph>
      <image source="images/command@N.png" width="320" height="200" alt="The command at work"/>
      <vt:note level="info">Available since version 2.<b>@G</b></vt:note>
    </section>
    <link topic="command-@N" anchor="usage">How to use the command</link>
    <link href="https://example.com/docs/commands/@N.html" target="external">Reference manual</link>
    <video source="clips/command@N.mkv" loop="true" width="320" height="180"/>
  </vantle>
)";
    QByteArray xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<vantles search="Benchmark" xmlns:vt="http://zelvane.com/vantles/extra">
)";
    for (int i = 0; i < count; ++i) {
        xml += QByteArray(vantleTemplate)
                   .replace("@K", keyFor(i))
                   .replace("@N", QByteArray::number(i))
                   .replace("@G", QByteArray::number(i % 17));
    }
    xml += "</vantles>\n";
    return xml;
}

} // namespace VTBench
