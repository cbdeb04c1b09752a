#pragma once

#include <QString>

namespace Vantles {

/**
 * One indexed control file: its path as it was indexed, and how many folder
 * levels it lies below the location it was indexed under (1 for a file
 * directly inside that location).
 */
struct VTControlPath {
    QString path;
    int depth = 0;

    friend bool operator==(const VTControlPath& a, const VTControlPath& b)
    {
        return a.depth == b.depth && a.path == b.path;
    }
    friend bool operator!=(const VTControlPath& a, const VTControlPath& b) { return !(a == b); }
};

} // namespace Vantles
