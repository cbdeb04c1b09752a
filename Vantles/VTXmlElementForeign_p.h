// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

#include "VTXmlElement.h"

namespace Vantles {

// VTXmlElement as a type of the QML module: the class lives in the library
// without Qt Quick, the module in the view library.
struct VTXmlElementForeign {
    Q_GADGET
    QML_FOREIGN(Vantles::VTXmlElement)
    QML_NAMED_ELEMENT(VTXmlElement)
};

} // namespace Vantles
