// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTNetworkAccessFactory_p.h"

#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QUrl>

namespace Vantles {

namespace {

class GuardedNetworkAccessManager : public QNetworkAccessManager {
public:
    GuardedNetworkAccessManager(std::shared_ptr<std::atomic_bool> allowed, QObject* parent)
        : QNetworkAccessManager(parent)
        , m_allowed(std::move(allowed))
    {
    }

protected:
    QNetworkReply* createRequest(Operation operation, const QNetworkRequest& request, QIODevice* data) override
    {
        const QString scheme = request.url().scheme().toLower();
        const bool web = scheme == QLatin1String("http") || scheme == QLatin1String("https");
        if (web && operation == GetOperation && *m_allowed)
            return QNetworkAccessManager::createRequest(operation, request, data);
        // A scheme no manager knows: the reply fails at once, without I/O.
        QNetworkRequest refused(request);
        refused.setUrl(QUrl(QStringLiteral("vantles-refused:%1").arg(request.url().toString())));
        return QNetworkAccessManager::createRequest(operation, refused, nullptr);
    }

private:
    const std::shared_ptr<std::atomic_bool> m_allowed;
};

} // namespace

QNetworkAccessManager* VTNetworkAccessFactory::create(QObject* parent)
{
    return new GuardedNetworkAccessManager(m_allowed, parent);
}

void VTNetworkAccessFactory::setNetworkAllowed(bool allowed)
{
    *m_allowed = allowed;
}

bool VTNetworkAccessFactory::networkAllowed() const
{
    return *m_allowed;
}

} // namespace Vantles
