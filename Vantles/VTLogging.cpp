// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTLogging_p.h"

namespace Vantles {

Q_LOGGING_CATEGORY(lcVantlesXml, "vantles.xml")
Q_LOGGING_CATEGORY(lcVantlesWindow, "vantles.window", QtInfoMsg)

} // namespace Vantles
