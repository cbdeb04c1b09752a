// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

namespace Vantles {

/**
 * One indexed control file: its path as it was indexed, and how many folder
 * levels it lies below the location it was indexed under (1 for a file
 * directly inside that location).
 */
struct VTControlPath {
    /// The control file's path as it was indexed.
    QString path;
    /// Folder levels below the location it was indexed under.
    int depth = 0;

    /// Equal when path and depth are.
    friend bool operator==(const VTControlPath& a, const VTControlPath& b)
    {
        return a.depth == b.depth && a.path == b.path;
    }
    /// Unequal when path or depth differ.
    friend bool operator!=(const VTControlPath& a, const VTControlPath& b) { return !(a == b); }
};

} // namespace Vantles
