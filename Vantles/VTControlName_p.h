// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QString>

namespace Vantles {

// Whether @p object has a name of its own: Qt names some of the widgets it
// makes itself (viewports, extension buttons, stacks) "qt_...", and those
// are no controls an application named.
inline bool hasOwnName(const QObject* object)
{
    const QString name = object->objectName();
    return !name.isEmpty() && !name.startsWith(QLatin1String("qt_"));
}

} // namespace Vantles
