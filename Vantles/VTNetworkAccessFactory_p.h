// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QQmlNetworkAccessManagerFactory>

#include <atomic>
#include <memory>

namespace Vantles {

/**
 * Gives a view's QML engine network access managers that refuse every
 * request, unless network access is allowed, and then allow http and https
 * only: content reaches no network and no other scheme on its own.
 */
class VTNetworkAccessFactory : public QQmlNetworkAccessManagerFactory {
public:
    QNetworkAccessManager* create(QObject* parent) override;

    void setNetworkAllowed(bool allowed);
    bool networkAllowed() const;

private:
    // Shared with the managers, which the engine may keep longer than this.
    std::shared_ptr<std::atomic_bool> m_allowed = std::make_shared<std::atomic_bool>(false);
};

} // namespace Vantles
