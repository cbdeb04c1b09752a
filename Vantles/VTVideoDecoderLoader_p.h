// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "VTVideoDecoder_p.h"

#include <QString>

namespace Vantles {

/**
 * Loads the plug-in that decodes clips, the first time one is decoded, and
 * makes its decoders. The plug-in lies in the folder "vantles" beside the
 * library's own file, where the build and `cmake --install` put it; the
 * environment variable VANTLES_PLUGIN_PATH names another folder. A plug-in
 * once loaded stays loaded. Any thread.
 */
class VTVideoDecoderLoader {
public:
    /// A new decoder for @p host, owned by the caller; null when the plug-in
    /// cannot be found or loaded, with *reason saying why in a sentence's
    /// words (no capital, no full stop).
    static VTVideoDecoder* create(VTVideoDecoderHost* host, QString* reason);
    /// The plug-in file looked for now.
    static QString pluginPath();
};

} // namespace Vantles
