// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QLoggingCategory>

#include <Vantles/vantles_export.h>

namespace Vantles {

// Diagnostics on Qt's debug channel, one category per area, so that a host can
// mute or enable one with QT_LOGGING_RULES ("vantles.xml.debug=false").
VANTLES_EXPORT const QLoggingCategory& lcVantlesXml();
// What the tooltip window shows; off unless "vantles.window.debug=true".
VANTLES_EXPORT const QLoggingCategory& lcVantlesWindow();

} // namespace Vantles
