// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTContext.h"

VTContext::VTContext(QObject* parent)
    : QObject(parent)
{
}

VTContext::VTContext(const VTContext& other)
    : QObject(nullptr)
    , m_settings(other.m_settings)
{
}

VTContext::~VTContext() = default;

VTContext& VTContext::operator=(const VTContext& other)
{
    m_settings = other.m_settings;
    return *this;
}

QVariant VTContext::get(VTContextKey key, const QVariant& defaultValue) const
{
    const auto it = m_settings.constFind(key);
    return it == m_settings.constEnd() ? defaultValue : it.value();
}

void VTContext::set(VTContextKey key, const QVariant& value)
{
    Q_EMIT settingWillChange(key);
    m_settings.insert(key, value);
    Q_EMIT settingDidChange(key);
}

bool VTContext::contains(VTContextKey key) const
{
    return m_settings.contains(key);
}

QList<VTContextKey> VTContext::keys() const
{
    QList<VTContextKey> result;
    result.reserve(m_settings.size());
    for (auto it = m_settings.constBegin(); it != m_settings.constEnd(); ++it)
        result.append(static_cast<VTContextKey>(it.key()));
    return result;
}
