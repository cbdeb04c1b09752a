// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTProblem.h"

namespace Vantles {

QString VTProblem::toString() const
{
    return file.isEmpty() ? text : QStringLiteral("%1: %2").arg(place(), text);
}

QString VTProblem::place() const
{
    if (line <= 0)
        return file;
    if (column <= 0)
        return QStringLiteral("%1:%2").arg(file, QString::number(line));
    return QStringLiteral("%1:%2:%3").arg(file, QString::number(line), QString::number(column));
}

bool VTProblem::operator==(const VTProblem& other) const
{
    return type == other.type && file == other.file && line == other.line && column == other.column
        && text == other.text;
}

} // namespace Vantles
