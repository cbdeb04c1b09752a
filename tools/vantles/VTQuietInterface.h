// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <Vantles/VTInterface.h>

/// A host interface that drops the library's messages: the tool reads the
/// problems from the manager and prints them in its own format.
class VTQuietInterface : public Vantles::VTInterface {
public:
    using Vantles::VTInterface::VTInterface;
    void handleMessage(Vantles::VTMessageType, const QString&) override { }
};
